// SPDX-License-Identifier: Apache-2.0
// Replays every committed scenario with the shipped library and compares the journal with the expected one. The number
// of the source line in a log text is taken out, so that a journal does not change with the code's layout. Run with
// UPDATE_JOURNALS=1 to write the expected journals anew, and read the difference before it is committed.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> ScenarioNames() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(SCENARIO_DIR)) {
        if (entry.path().extension() == ".jsonl") {
            names.push_back(entry.path().stem());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The whole journal of one replay, every log level included.
std::string ReplayJournal(const std::string& name) {
    const std::string command = std::string(HOST_BINARY) + " replay " + SCENARIO_DIR + "/" + name +
                                ".jsonl --journal - --log-level DEBUG 2>/dev/null";
    FILE* output = popen(command.c_str(), "re");
    std::string journal;
    char chunk[65536];
    for (size_t length = 0; (length = fread(chunk, 1, sizeof(chunk), output)) > 0;) {
        journal.append(chunk, length);
    }
    EXPECT_EQ(pclose(output), 0) << command;
    return journal;
}

// "[(Function):123] text" becomes "[(Function):0] text".
std::string WithoutSourceLine(std::string line) {
    const size_t log = line.find("\"text\":\"[(");
    const size_t begin = log == std::string::npos ? log : line.find("):", log);
    const size_t end = begin == std::string::npos ? begin : line.find(']', begin);
    return end == std::string::npos ? line : line.replace(begin, end - begin, "):0");
}

std::vector<std::string> LinesWithoutSourceLine(const std::string& journal) {
    std::vector<std::string> lines;
    std::istringstream stream(journal);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(WithoutSourceLine(std::move(line)));
    }
    return lines;
}

class ScenarioTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ScenarioTest, WritesItsJournalTheSameInEveryRun) {
    const std::string journal = ReplayJournal(GetParam());
    ASSERT_EQ(journal, ReplayJournal(GetParam()));
    const std::vector<std::string> lines = LinesWithoutSourceLine(journal);
    const fs::path expectedPath = fs::path(SCENARIO_DIR) / "expected" / (GetParam() + ".jsonl");
    if (std::getenv("UPDATE_JOURNALS") != nullptr) {
        std::ofstream file(expectedPath);
        for (const std::string& line : lines) {
            file << line << '\n';
        }
        return;
    }
    std::ifstream file(expectedPath);
    ASSERT_TRUE(file) << expectedPath << " is missing";
    std::stringstream expectedText;
    expectedText << file.rdbuf();
    const std::vector<std::string> expected = LinesWithoutSourceLine(expectedText.str());
    const size_t common = std::min(lines.size(), expected.size());
    for (size_t i = 0; i < common; ++i) {
        ASSERT_EQ(lines[i], expected[i]) << expectedPath << ":" << i + 1;
    }
    EXPECT_EQ(lines.size(), expected.size());
}

INSTANTIATE_TEST_SUITE_P(Scenarios, ScenarioTest, ::testing::ValuesIn(ScenarioNames()),
                         [](const auto& row) { return row.param; });

}  // namespace
