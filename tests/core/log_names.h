// Under which names the library's messages are known: whatever a test logs is held against them.
#pragma once

#include <string>
#include <vector>

namespace zolt::test {

/// What a line of that body may be called, as the function's name in it.
std::vector<std::string> namesOf(const std::string& body);

/// The messages of the table that no line has had so far.
std::vector<std::string> unseenMessages();

}  // namespace zolt::test
