// SPDX-License-Identifier: Apache-2.0
// What is told of runs side by side, from summaries written by hand.

#include "host/report/comparison.h"

#include <gtest/gtest.h>

#include "host/report/comparison_output.h"

namespace ZYRA::Host {
namespace {

using Json = nlohmann::ordered_json;

ComparedRun RunOn(const char* device, const char* scenes, const char* cold = "null", int slides = 0) {
    Json summary = Json::parse(R"({"interrupted": false, "learning": {"trainings": 1, "setSize": 2}, "failures": {},
                                   "limits": {"onUs": 1500000, "starts": 1}, "counts": {"wallUs": 1}})");
    summary["failures"]["failedPrereads"] = Json::parse(R"({"counts": {"a: 2": 3}, "others": 1})");
    summary["scenes"] = Json::parse(scenes);
    summary["learning"]["cold"] = Json::parse(cold);
    summary["limits"]["slides"] = slides;
    return {device, "", summary};
}

constexpr char SCENES[] = R"({"a": {"prereads": 1, "bytes": 10, "records": 0}})";
constexpr char OTHER_SCENES[] = R"({"a": {"prereads": 2, "bytes": 10, "records": 0},
                                    "b": {"prereads": 0, "bytes": 2048, "records": 4}})";
constexpr char COLD[] = R"({"heldBy": {"published": {"share": 0.25}, "served": {"share": 0.5}}})";

// (a) The first run is none to compare with; (b) what is not known of a run has no difference; (c) a scene that only
// one run has; (d) scenes are in the order of their bytes.
TEST(ComparisonTest, RunsAreComparedWithTheFirstThatIsComplete) {
    const Comparison comparison(
        "x/s.jsonl", {{"a.json", "killed", nullptr}, RunOn("b.json", SCENES, COLD), RunOn("c.json", OTHER_SCENES)});
    EXPECT_EQ(ComparisonText(comparison),
              "s.jsonl\n"
              "                                      b.json   c.json\n"
              "  prereads                                 1        2       +1\n"
              "  failed prereads                          4        4        =\n"
              "  bytes preread                         10 B   2.1 kB  +2.0 kB\n"
              "  opened cold, in the published set   25.0 %        -\n"
              "  opened cold, served                 50.0 %        -\n"
              "  background IO limited for          1.500 s  1.500 s        =\n"
              "  starts that limited                      1        1        =\n"
              "  slides that limited                      0        0        =\n"
              "  records written                          0        4       +4\n"
              "  trainings                                1        1        =\n"
              "  scenes in the set                        2        2        =\n"
              "  failures of every kind                   4        4        =\n"
              "\n"
              "Scenes that differ most\n"
              "  scene                   b.json  c.json\n"
              "  b        bytes preread     0 B  2.0 kB  +2.0 kB\n"
              "         records written       0       4       +4\n"
              "  a             prereads       1       2       +1\n"
              "a.json: killed\n");
    const Json told = Json::parse(ComparisonJson(comparison, true));
    EXPECT_TRUE(told["interrupted"].get<bool>());
    EXPECT_EQ(told["devices"][0].dump(), R"({"device":"a.json","failure":"killed","summary":null})");
    const Json& shares = told["differences"][2];
    EXPECT_EQ(shares.dump(),
              R"({"measure":"publishedShare","scene":null,"values":[null,0.25,null],"differences":[null,0.0,null]})");
    EXPECT_EQ(told["differences"].back().dump(),
              R"({"measure":"prereads","scene":"a","values":[null,1,2],"differences":[null,0,1]})");
}

TEST(ComparisonTest, WhatDiffersOutsideTheTableIsNamed) {
    const auto textOf = [](const char* member, int value) {
        ComparedRun other = RunOn("b.json", SCENES);
        other.summary["counts"][member] = value;
        return ComparisonText(Comparison("s.jsonl", {RunOn("a.json", SCENES), other}));
    };
    EXPECT_EQ(textOf("wallUs", 2), "s.jsonl: nothing differs between a.json and b.json\n");
    EXPECT_NE(textOf("tasks", 2).find("\n  what differs is elsewhere in the summaries: counts\n"), std::string::npos);
    EXPECT_EQ(ComparisonText(Comparison("s.jsonl", {{"a.json", "not replayed", nullptr}})), "a.json: not replayed\n");
}

TEST(ComparisonTest, NamesAreAsShortAsTellsThemApart) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(ShortNames({"/x/a.json", "b.json"}), (Names{"a.json", "b.json"}));
    EXPECT_EQ(ShortNames({"/x/one/a.json", "y/two/a.json", "c.json"}), (Names{"one/a.json", "two/a.json", "c.json"}));
    EXPECT_EQ(ShortNames({"x/a.json", "x/a.json"}), (Names{"a.json", "a.json"}));
    EXPECT_EQ(ShortNames({"x//a.json", "x/a.json"}), (Names{"x//a.json", "x/a.json"}));
}

}  // namespace
}  // namespace ZYRA::Host
