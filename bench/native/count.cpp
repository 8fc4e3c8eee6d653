// The program around what is counted.
[[gnu::visibility("default")]] int zoltCount();

int main() {
  return zoltCount();
}
