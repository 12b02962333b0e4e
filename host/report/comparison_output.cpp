// SPDX-License-Identifier: Apache-2.0
#include "host/report/comparison_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <utility>

#include "host/replay/printable.h"
#include "host/report/json_text.h"
#include "host/report/quantity_text.h"
#include "host/report/text_table.h"

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

constexpr int SCHEMA = 1;
constexpr double PERCENT = 100;
constexpr double US_PER_S = 1e6;
constexpr size_t MOST_SCENES = 15;

std::string ValueText(MeasureUnit unit, double value) {
    switch (unit) {
        case MeasureUnit::COUNT:
            return fmt::format("{:.0f}", value);
        case MeasureUnit::BYTES:
            return Bytes(static_cast<uint64_t>(value));
        case MeasureUnit::SHARE:
            return fmt::format("{:.1f} %", value * PERCENT);
        case MeasureUnit::MICROSECONDS:
            return fmt::format("{:.3f} s", value / US_PER_S);
    }
    return "";
}

// "+3", "-12.4 MB", "+1.2 points"; "=" where both are the same.
std::string DifferenceText(MeasureUnit unit, std::optional<double> first, std::optional<double> other) {
    if (first == other) {
        return "=";
    }
    if (!first || !other) {
        return "";
    }
    const double difference = *other - *first;
    const std::string sign = difference < 0 ? "-" : "+";
    return sign + (unit == MeasureUnit::SHARE ? fmt::format("{:.1f} points", std::abs(difference) * PERCENT)
                                              : ValueText(unit, std::abs(difference)));
}

// The values of a row, each but the first with its difference from that.
std::vector<std::string> Cells(std::vector<std::string> cells, const MeasuredRow& row) {
    for (size_t run = 0; run < row.values.size(); ++run) {
        cells.push_back(row.values[run] ? ValueText(row.measure->unit, *row.values[run]) : "-");
        if (run != 0) {
            cells.push_back(DifferenceText(row.measure->unit, row.values.front(), row.values[run]));
        }
    }
    return cells;
}

// Lists "a", "a and b", "a, b and c".
std::string Listed(const std::vector<std::string>& words) {
    std::string text;
    for (size_t index = 0; index < words.size(); ++index) {
        text += (index == 0 ? "" : index + 1 == words.size() ? " and " : ", ") + words[index];
    }
    return text;
}

// The header of a table: the columns before, and the runs.
std::vector<std::string> Header(std::vector<std::string> cells, const std::vector<std::string>& runs) {
    for (size_t run = 0; run < runs.size(); ++run) {
        cells.push_back(runs[run]);
        if (run != 0) {
            cells.emplace_back();
        }
    }
    return cells;
}

std::string ScenesText(const Comparison& comparison, const std::vector<std::string>& runs) {
    TextTable table(Header({"scene", ""}, runs));
    std::set<std::string> told;
    std::set<std::string> others;
    for (const MeasuredRow& row : comparison.SceneRows()) {
        if (told.size() == MOST_SCENES && !told.contains(row.scene)) {
            others.insert(row.scene);
            continue;
        }
        const bool isFirst = told.insert(row.scene).second;
        table.Add(Cells({isFirst ? Printable(row.scene) : "", row.measure->name}, row));
    }
    const std::string rest = others.empty() ? "" : fmt::format("  and {} more\n", Counted(others.size(), "scene"));
    return "\nScenes that differ most\n" + table.Text() + rest;
}

OrderedJson ValueJson(MeasureUnit unit, std::optional<double> value) {
    if (!value) {
        return nullptr;
    }
    return unit == MeasureUnit::SHARE ? OrderedJson(*value) : OrderedJson(std::llround(*value));
}

// A row with a value for each run, null for those that are not complete.
OrderedJson DifferenceJson(const Comparison& comparison, const MeasuredRow& row) {
    std::vector<OrderedJson> values(comparison.Runs().size());
    std::vector<OrderedJson> differences(comparison.Runs().size());
    for (size_t index = 0; index < row.values.size(); ++index) {
        const size_t run = comparison.Complete()[index];
        const auto& value = row.values[index];
        const bool isKnown = value && row.values.front();
        values[run] = ValueJson(row.measure->unit, value);
        differences[run] =
            ValueJson(row.measure->unit, isKnown ? std::optional(*value - *row.values.front()) : std::nullopt);
    }
    const OrderedJson scene = row.scene.empty() ? OrderedJson() : OrderedJson(row.scene);
    return {{"measure", row.measure->key}, {"scene", scene}, {"values", values}, {"differences", differences}};
}

}  // namespace

std::string ComparisonText(const Comparison& comparison) {
    std::vector<std::string> files;
    for (const ComparedRun& run : comparison.Runs()) {
        files.push_back(run.deviceFile);
    }
    std::vector<std::string> names = ShortNames(files);
    std::transform(names.begin(), names.end(), names.begin(), Printable);
    std::vector<std::string> complete;
    for (const size_t run : comparison.Complete()) {
        complete.push_back(names[run]);
    }
    std::string text;
    const std::string scenario = Printable(std::filesystem::path(comparison.ScenarioFile()).filename().string());
    if (complete.size() > 1 && comparison.DifferingMembers().empty()) {
        text = scenario + ": nothing differs between " + Listed(complete) + '\n';
    } else if (!complete.empty()) {
        TextTable table(Header({""}, complete));
        bool isAnyDifferent = complete.size() == 1;
        for (const MeasuredRow& row : comparison.Rows()) {
            table.Add(Cells({row.measure->name}, row));
            isAnyDifferent = isAnyDifferent || row.Differs();
        }
        text = scenario + '\n' + table.Text();
        if (!comparison.SceneRows().empty()) {
            text += ScenesText(comparison, complete);
        } else if (!isAnyDifferent) {
            text += "  what differs is elsewhere in the summaries: " + Listed(comparison.DifferingMembers()) + '\n';
        }
    }
    for (size_t run = 0; run < names.size(); ++run) {
        const std::string& failure = comparison.Runs()[run].failure;
        text += failure.empty() ? "" : names[run] + ": " + failure + '\n';
    }
    return text;
}

std::string ComparisonJson(const Comparison& comparison, bool isInterrupted) {
    OrderedJson devices = OrderedJson::array();
    for (const ComparedRun& run : comparison.Runs()) {
        const OrderedJson failure = run.failure.empty() ? OrderedJson() : OrderedJson(run.failure);
        devices.push_back({{"device", run.deviceFile}, {"failure", failure}, {"summary", run.summary}});
    }
    OrderedJson differences = OrderedJson::array();
    for (const auto* rows : {&comparison.Rows(), &comparison.SceneRows()}) {
        for (const MeasuredRow& row : *rows) {
            if (row.Differs()) {
                differences.push_back(DifferenceJson(comparison, row));
            }
        }
    }
    const OrderedJson json = {{"schema", SCHEMA},
                              {"scenario", comparison.ScenarioFile()},
                              {"interrupted", isInterrupted},
                              {"devices", devices},
                              {"differences", differences}};
    return JsonDocument(json);
}

}  // namespace ZYRA::Host
