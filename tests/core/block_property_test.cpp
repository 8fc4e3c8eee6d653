// Thousands of random file systems and questions: the library and the plain rules agree on every
// word, every size, every request and every error.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <set>

#include "base/settings.h"
#include "block_model.h"
#include "scripted_client.h"

namespace zolt {
namespace {

using namespace test;

Outcome foundOf(const Question& question) {
  RandomFileSystem fs(question.seed);
  Ranges asked;
  ScriptedClient client;
  client.otherwise(clientOf(fs, asked));
  std::vector<int> words(question.words, 0x55555555);
  Outcome found = outcomeOf(question, words.data());
  found.asked = asked;
  return found;
}

std::string shown(const Outcome& outcome) {
  std::ostringstream text;
  text << "result " << outcome.result << " " << outcome.overflow << " length " << outcome.length
       << " blocksize " << outcome.blocksize << " nblock " << outcome.nblock << " nreplica "
       << outcome.nreplica << "\nasked";
  for (const auto& range : outcome.asked)
    text << " " << range[0] << "," << range[1] << "," << range[2];
  text << "\nwords";
  for (size_t i = 0; i < outcome.memory.size() && i < 200; ++i)
    text << " " << outcome.memory[i];
  return text.str();
}

TEST(BlockProperty, TheLibraryAndThePlainRulesAgree) {
  std::set<std::string> met;  // so that the models cannot silently become harmless
  for (uint64_t seed = 1; seed <= 20000; ++seed) {
    const Question question = randomQuestion(seed);
    const Outcome expected = expectedOf(question);
    const Outcome found = foundOf(question);
    ASSERT_EQ(found, expected) << "seed " << seed << " type " << question.type << " offset "
                               << question.loc.offset << "\nfound " << shown(found) << "\nexpected "
                               << shown(expected);
    const std::string type = std::to_string(question.type);
    met.insert("result " + std::to_string(found.result));
    if (!found.overflow.empty()) met.insert("overflow of type " + type);
    if (found.asked.size() > 3) met.insert("many rounds of type " + type);
    if (found.nblock > 10) met.insert("many blocks of type " + type);
  }
  for (const char* thing :
       {"result 0", "result 5", "result 22", "result 116", "result 121", "overflow of type 0",
        "overflow of type 2", "overflow of type 3", "many rounds of type 0",
        "many rounds of type 2", "many rounds of type 3", "many blocks of type 0",
        "many blocks of type 2", "many blocks of type 3"}) {
    EXPECT_TRUE(met.contains(thing)) << thing;
  }
  defaultBlockSize = 0;
  defaultReplication = 1;
}

}  // namespace
}  // namespace zolt
