// Every reader answers each hostile input with its result or the system's message, and keeps
// running. How long each answer takes is measured by bench/hostile_input_bench.cpp.
#include <gtest/gtest.h>

#include <string>

#include "tests/investigation/hostile_inputs.h"

namespace zubra {
namespace {

TEST(HostileInput, EveryReaderAnswersWithItsResultOrItsMessage) {
  for (const test_support::HostileInput& input : test_support::HostileInputs()) {
    SCOPED_TRACE(input.name);
    const std::string answer = test_support::Answer(input);
    EXPECT_EQ(answer.empty(), input.accepted) << answer.substr(0, 300);
    EXPECT_NE(answer.find(input.fragment), std::string::npos) << answer.substr(0, 300);
  }
}

}  // namespace
}  // namespace zubra
