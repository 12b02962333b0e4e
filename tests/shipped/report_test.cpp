// SPDX-License-Identifier: Apache-2.0
// The report of shipped scenarios, compared with what else is told of the same run.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/shipped/host_runner.h"

namespace ZYRA::Host {
namespace {

using nlohmann::json;

class ShippedReportTest : public HostRunnerTest {
protected:
    std::string Read(const std::string& name) const {
        std::ifstream file(folder_ / name);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    void Replay(const std::string& scenario) {
        const std::string folder = folder_.string();
        const Outcome outcome =
            RunHost("replay " SCENARIO_DIR "/" + scenario + ".jsonl --log-level DEBUG --report " + folder +
                    "/r.html --json " + folder + "/s.json --journal " + folder + "/j.jsonl");
        ASSERT_EQ(outcome.exitStatus, 0) << outcome.output;
        page_ = Read("r.html");
        const std::string begin = "id=\"data\">";
        const size_t at = page_.find(begin) + begin.size();
        data_ = json::parse(page_.substr(at, page_.find("</script>", at) - at));
        timeline_ = data_["timeline"];
        journal_.clear();
        std::istringstream lines(Read("j.jsonl"));
        for (std::string line; std::getline(lines, line);) {
            journal_.push_back(json::parse(line));
        }
    }

    std::string Text(const json& id) const { return timeline_["texts"].at(id.get<size_t>()); }
    size_t JournalCount(const std::string& kind) const {
        size_t count = 0;
        for (const json& line : journal_) {
            count += line["kind"] == kind ? 1 : 0;
        }
        return count;
    }
    size_t MarkCount(const std::vector<std::string>& kinds) const {
        size_t count = 0;
        for (const json& mark : timeline_["marks"]["rows"]) {
            const std::string kind = timeline_["marks"]["kinds"].at(mark[1].get<size_t>());
            count += std::count(kinds.begin(), kinds.end(), kind);
        }
        return count;
    }

    std::string page_;
    json data_;
    json timeline_;
    std::vector<json> journal_;
};

// Nothing that the page shows is other than what the journal and the summary of the run say.
TEST_F(ShippedReportTest, AgreesWithTheJournalAndTheSummary) {
    for (const char* scenario :
         {"cold_start_second", "kernel_files_fail", "limit_background", "learning", "shutdown_and_dump"}) {
        SCOPED_TRACE(scenario);
        ASSERT_NO_FATAL_FAILURE(Replay(scenario));
        EXPECT_EQ(data_["schema"], 1);
        EXPECT_EQ(data_["scenario"], std::string(scenario) + ".jsonl");
        EXPECT_EQ(data_["summary"], json::parse(Read("s.json")));
        EXPECT_EQ(timeline_["leftOut"], 0);
        EXPECT_EQ(timeline_["untilUs"], journal_.back()["t"]);

        std::map<int, std::string> told;
        for (const json& line : journal_) {
            if (line["kind"] == "monitor") {
                told[line["monitor"]] += line["t"].dump() + ' ' + line["state"].get<std::string>() + "; ";
            }
        }
        for (int monitor = 0; monitor < 2; ++monitor) {
            std::string drawn;
            for (const json& span : timeline_["monitors"][monitor]["states"]) {
                drawn += span[0] == 0 ? "" : span[0].dump() + ' ' + Text(span[2]) + "; ";
            }
            EXPECT_EQ(drawn, told[monitor]);
        }

        size_t begun = 0;
        for (const json& queue : timeline_["queues"]) {
            for (const json& task : queue["tasks"]) {
                begun += task[1] == -1 ? 0 : 1;
            }
        }
        EXPECT_EQ(begun, data_["summary"]["counts"]["tasks"]);
        EXPECT_EQ(timeline_["events"]["rows"].size(), JournalCount("event"));
        EXPECT_EQ(MarkCount({"write", "refusedWrite"}), JournalCount("write"));
        EXPECT_EQ(MarkCount({"preread", "failedPreread"}), JournalCount("preread"));
        EXPECT_EQ(MarkCount({"record"}), JournalCount("record"));
        EXPECT_EQ(MarkCount({"systemEvent", "faultEvent"}), JournalCount("sysevent"));
        EXPECT_EQ(MarkCount({"fault"}), JournalCount("fault"));
        EXPECT_EQ(MarkCount({"topSet"}), JournalCount("topset"));
        EXPECT_EQ(MarkCount({"step"}),
                  JournalCount("plugin") + JournalCount("device") + JournalCount("shutdown") + JournalCount("dump"));
        int64_t limitedUs = 0;
        for (const json& span : timeline_["switches"].value("iocontrol", json::array())) {
            limitedUs += span[1].get<int64_t>() - span[0].get<int64_t>();
        }
        EXPECT_EQ(limitedUs, data_["summary"]["limits"]["switches"]["iocontrol"]["onUs"]);
    }
}

TEST_F(ShippedReportTest, TellsOfAColdStartWhatTheScenarioIs) {
    Replay("cold_start_second");
    const json& stories = data_["starts"]["stories"];
    ASSERT_EQ(stories.size(), 2u);
    EXPECT_EQ(stories[0]["recordPages"], 5200);
    EXPECT_EQ(stories[0]["prereadAfterUs"], nullptr);
    EXPECT_EQ(stories[1]["recordState"], "uptodate");
    EXPECT_EQ(stories[1]["prereadBytes"], 21299200);
    EXPECT_EQ(stories[1]["pageShownAfterUs"], 450000);
    EXPECT_EQ(stories[1]["limitedForUs"], 3000000);
    // The page asks nobody for anything.
    const std::string nameOfSvg = "http://www.w3.org/2000/svg";
    page_.erase(page_.find(nameOfSvg), nameOfSvg.size());
    EXPECT_EQ(page_.find("://"), std::string::npos);
}

// By what the plugin does about it in this scenario.
TEST_F(ShippedReportTest, NamesARemovalOfABundleAsOne) {
    Replay("uninstall");
    EXPECT_EQ(timeline_["events"]["names"]["15/0"], "bundle removed");
    EXPECT_EQ(timeline_["events"]["names"]["15/1"], "bundle came or changed");
}

TEST_F(ShippedReportTest, AReportThatCannotBeWrittenIsAFailedRun) {
    const std::string scenario = SCENARIO_DIR "/cold_start_first.jsonl";
    EXPECT_EQ(RunHost("replay " + scenario + " --report /dev/full").exitStatus, 1);
    EXPECT_EQ(RunHost("replay " + scenario + " --report /nowhere/report.html").exitStatus, 2);
    const std::string kept = Write("kept.html", "kept");
    EXPECT_EQ(RunHost("replay " + scenario + " --plugin /dev/null --report " + kept).exitStatus, 2);
    EXPECT_EQ(Read("kept.html"), "kept");
}

}  // namespace
}  // namespace ZYRA::Host
