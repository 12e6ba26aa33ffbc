// The tool's own options and where they end.
#include "request.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "options.h"

namespace fsort_tool {
namespace {

struct Read {
  Request request;
  std::string wrong;
  std::vector<std::string> sort_arguments;  // behind the command name
};

Read read(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "fsort");
  Read result;
  result.wrong = read_request(arguments, result.request);
  result.sort_arguments = result.request.sort_arguments;
  if (!result.sort_arguments.empty()) result.sort_arguments.erase(result.sort_arguments.begin());
  return result;
}

using Arguments = std::vector<std::string>;

TEST(Request, OwnOptionsEndWithTheFirstArgumentThatIsNone) {
  const Read found = read({"--verify", "--atomic", "-q", "--complete"});
  EXPECT_TRUE(found.request.verify);
  EXPECT_TRUE(found.request.atomic);
  EXPECT_FALSE(found.request.complete);
  EXPECT_EQ(found.sort_arguments, (Arguments{"-q", "--complete"}));
}

TEST(Request, TwoDashesEndThem) {
  EXPECT_EQ(read({"--verify", "--", "--atomic"}).sort_arguments, (Arguments{"--atomic"}));
}

TEST(Request, AnUnknownNameGoesToTheEngine) {
  EXPECT_EQ(read({"--verify", "--nothing", "-k"}).sort_arguments, (Arguments{"--nothing", "-k"}));
}

TEST(Request, ATopicStandsBehindAnEqualsSignOrABlank) {
  EXPECT_EQ(read({"--help"}).request.topic, "");
  EXPECT_EQ(read({"--help=keys"}).request.topic, "keys");
  EXPECT_EQ(read({"--help", "-k"}).request.topic, "-k");
  EXPECT_EQ(read({"--help", "--check"}).request.topic, "--check");
  EXPECT_EQ(read({"--help", "--check"}).request.task, Task::help);
  EXPECT_EQ(read({"--completion", "bash"}).request.topic, "bash");
  EXPECT_EQ(read({"--completion=zsh"}).request.task, Task::completion);
}

TEST(Request, ValuesAreLookedAt) {
  EXPECT_EQ(read({"--explain=7"}).request.explained_records, 7U);
  EXPECT_EQ(read({"--explain=x"}).wrong, "\"x\" is no value of --explain: how many records to show");
  EXPECT_EQ(read({"--progress=often"}).wrong, "\"often\" is no value of --progress: auto, always or never");
  EXPECT_EQ(read({"--check=1"}).wrong, "--check takes no value");
  EXPECT_EQ(read({"--progress=always"}).request.progress, When::always);
}

TEST(Request, WhatOnlyASortCanDoIsRefusedElsewhere) {
  EXPECT_EQ(read({"--verify", "--check"}).wrong, "--verify belongs to a sort, not to --check");
  EXPECT_EQ(read({"--check", "--complete"}).wrong, "--complete belongs to a sort, not to --check");
  EXPECT_EQ(read({"--explain", "--atomic"}).wrong, "--atomic belongs to a sort, not to --explain");
  EXPECT_EQ(read({"--verify", "--atomic", "--complete"}).wrong, "");
}

TEST(Request, EveryOwnOptionOfTheTableIsTaken) {
  for (const Option& option : all_options()) {
    if (!is_own(option)) continue;
    const Read found = read({std::string(option.name), "-q"});
    EXPECT_EQ(found.wrong, "") << option.name;
    EXPECT_TRUE(found.sort_arguments.empty() || found.sort_arguments[0] == "-q") << option.name;
    std::string words(option.words);
    words = words.substr(0, words.find(' '));
    if (words.empty()) continue;
    EXPECT_EQ(read({std::string(option.name) + "=" + words}).wrong, "") << option.name;
  }
}

}  // namespace
}  // namespace fsort_tool
