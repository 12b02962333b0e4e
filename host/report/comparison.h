// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace ZYRA::Host {

// A replay of the scenario that is compared.
struct ComparedRun {
    std::string deviceFile;
    std::string failure;             // Why it is not complete, one line; empty when it is.
    nlohmann::ordered_json summary;  // The summary for programs; null when there is none.
};

enum class MeasureUnit { COUNT, BYTES, SHARE, MICROSECONDS };

// What is compared of each run, or of each scene of it.
struct Measure {
    const char* key;   // For programs.
    const char* name;  // For people.
    MeasureUnit unit;
};

// One measure of the runs that are complete, in their order; nothing where it is not known.
struct MeasuredRow {
    const Measure* measure;
    std::string scene;  // "" is the run as a whole.
    std::vector<std::optional<double>> values;

    bool Differs() const;
};

// What differs between replays of one scenario on several devices, against the first that is complete.
class Comparison {
public:
    Comparison(std::string scenarioFile, std::vector<ComparedRun> runs);

    const std::string& ScenarioFile() const { return scenarioFile_; }
    const std::vector<ComparedRun>& Runs() const { return runs_; }
    // The indices of the runs that are complete.
    const std::vector<size_t>& Complete() const { return complete_; }

    // Every measure of the runs as a whole.
    const std::vector<MeasuredRow>& Rows() const { return rows_; }
    // The measures of scenes that differ, the scenes that differ most first: by bytes, then by the other measures.
    const std::vector<MeasuredRow>& SceneRows() const { return sceneRows_; }
    // The members of the summaries that differ in anything but the wall time.
    const std::vector<std::string>& DifferingMembers() const { return differingMembers_; }

private:
    void MeasureRuns();
    void MeasureScenes();
    void CompareMembers();

    const std::string scenarioFile_;
    const std::vector<ComparedRun> runs_;
    std::vector<size_t> complete_;
    std::vector<MeasuredRow> rows_;
    std::vector<MeasuredRow> sceneRows_;
    std::vector<std::string> differingMembers_;
};

// The shortest ends of the paths, from a file name on, that tell them apart; the same path twice stays whole.
std::vector<std::string> ShortNames(const std::vector<std::string>& paths);

}  // namespace ZYRA::Host
