// SPDX-License-Identifier: Apache-2.0
#include "host/report/comparison.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace ZYRA::Host {

namespace {

using OrderedJson = nlohmann::ordered_json;

std::optional<double> At(const OrderedJson& summary, const char* pointer) {
    const OrderedJson::json_pointer place(pointer);
    const bool isKnown = summary.contains(place) && summary[place].is_number();
    return isKnown ? std::optional(summary[place].get<double>()) : std::nullopt;
}

double SceneSum(const OrderedJson& summary, const char* member) {
    double sum = 0;
    for (const OrderedJson& scene : summary.at("scenes")) {
        sum += scene.at(member).get<double>();
    }
    return sum;
}

double TallySum(const OrderedJson& tally) {
    double sum = tally.at("others").get<double>();
    for (const OrderedJson& count : tally.at("counts")) {
        sum += count.get<double>();
    }
    return sum;
}

double FailureSum(const OrderedJson& summary) {
    double sum = 0;
    for (const OrderedJson& tally : summary.at("failures")) {
        sum += TallySum(tally);
    }
    return sum;
}

struct RunMeasure {
    Measure measure;
    std::optional<double> (*of)(const OrderedJson& summary);
};

using Json = const OrderedJson&;
using Value = std::optional<double>;
using enum MeasureUnit;

const RunMeasure RUN_MEASURES[] = {
    {{"prereads", "prereads", COUNT}, [](Json summary) -> Value { return SceneSum(summary, "prereads"); }},
    {{"failedPrereads", "failed prereads", COUNT},
     [](Json summary) -> Value { return TallySum(summary.at("failures").at("failedPrereads")); }},
    {{"bytes", "bytes preread", BYTES}, [](Json summary) -> Value { return SceneSum(summary, "bytes"); }},
    {{"publishedShare", "opened cold, in the published set", SHARE},
     [](Json summary) { return At(summary, "/learning/cold/heldBy/published/share"); }},
    {{"servedShare", "opened cold, served", SHARE},
     [](Json summary) { return At(summary, "/learning/cold/heldBy/served/share"); }},
    {{"limitedUs", "background IO limited for", MICROSECONDS},
     [](Json summary) { return At(summary, "/limits/onUs"); }},
    {{"starts", "starts that limited", COUNT}, [](Json summary) { return At(summary, "/limits/starts"); }},
    {{"slides", "slides that limited", COUNT}, [](Json summary) { return At(summary, "/limits/slides"); }},
    {{"records", "records written", COUNT}, [](Json summary) -> Value { return SceneSum(summary, "records"); }},
    {{"trainings", "trainings", COUNT}, [](Json summary) { return At(summary, "/learning/trainings"); }},
    {{"setSize", "scenes in the set", COUNT}, [](Json summary) { return At(summary, "/learning/setSize"); }},
    {{"failures", "failures of every kind", COUNT}, [](Json summary) -> Value { return FailureSum(summary); }},
};

// Scenes are ranked by the first of these that differs.
constexpr Measure SCENE_MEASURES[] = {
    {"bytes", "bytes preread", BYTES}, {"prereads", "prereads", COUNT}, {"records", "records written", COUNT}};

// How far the furthest of the others is from the first.
double Distance(const MeasuredRow& row) {
    double furthest = 0;
    for (const Value& value : row.values) {
        furthest = std::max(furthest, std::abs(value.value_or(0) - row.values.front().value_or(0)));
    }
    return furthest;
}

std::string EndOf(const std::filesystem::path& path, size_t parts) {
    const auto count = static_cast<size_t>(std::distance(path.begin(), path.end()));
    std::filesystem::path end;
    for (auto part = std::next(path.begin(), static_cast<std::ptrdiff_t>(count - std::min(parts, count)));
         part != path.end(); ++part) {
        end /= *part;
    }
    return end;
}

}  // namespace

bool MeasuredRow::Differs() const {
    return std::any_of(values.begin(), values.end(), [this](const Value& value) { return value != values.front(); });
}

Comparison::Comparison(std::string scenarioFile, std::vector<ComparedRun> runs)
    : scenarioFile_(std::move(scenarioFile)), runs_(std::move(runs)) {
    for (size_t index = 0; index < runs_.size(); ++index) {
        if (runs_[index].failure.empty()) {
            complete_.push_back(index);
        }
    }
    if (!complete_.empty()) {
        MeasureRuns();
        MeasureScenes();
        CompareMembers();
    }
}

void Comparison::MeasureRuns() {
    for (const RunMeasure& one : RUN_MEASURES) {
        MeasuredRow row{&one.measure, "", {}};
        for (const size_t index : complete_) {
            row.values.push_back(one.of(runs_[index].summary));
        }
        rows_.push_back(std::move(row));
    }
}

void Comparison::MeasureScenes() {
    using SceneRows = std::vector<MeasuredRow>;
    std::map<std::string, SceneRows> scenes;
    for (size_t run = 0; run < complete_.size(); ++run) {
        for (const auto& [name, scene] : runs_[complete_[run]].summary.at("scenes").items()) {
            SceneRows& rows = scenes[name];
            if (rows.empty()) {
                for (const Measure& measure : SCENE_MEASURES) {
                    rows.push_back({&measure, name, std::vector<Value>(complete_.size(), 0)});
                }
            }
            for (MeasuredRow& row : rows) {
                row.values[run] = scene.at(row.measure->key).get<double>();
            }
        }
    }
    std::vector<std::pair<std::vector<double>, SceneRows>> ranked;
    for (auto& [name, rows] : scenes) {
        std::vector<double> distances;
        std::transform(rows.begin(), rows.end(), std::back_inserter(distances), Distance);
        ranked.emplace_back(std::move(distances), std::move(rows));
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& one, const auto& other) { return one.first > other.first; });
    for (auto& [distances, rows] : ranked) {
        std::copy_if(rows.begin(), rows.end(), std::back_inserter(sceneRows_),
                     [](const MeasuredRow& row) { return row.Differs(); });
    }
}

void Comparison::CompareMembers() {
    const auto memberOf = [this](size_t run, const std::string& name) {
        OrderedJson member = runs_[run].summary.value(name, OrderedJson());
        if (member.is_object()) {
            member.erase("wallUs");
        }
        return member;
    };
    for (const auto& [name, value] : runs_[complete_.front()].summary.items()) {
        const OrderedJson first = memberOf(complete_.front(), name);
        const auto differs = [&, &key = name](size_t run) { return memberOf(run, key) != first; };
        if (std::any_of(complete_.begin(), complete_.end(), differs)) {
            differingMembers_.push_back(name);
        }
    }
}

std::vector<std::string> ShortNames(const std::vector<std::string>& paths) {
    const std::set<std::string> different(paths.begin(), paths.end());
    const size_t longest = std::max_element(paths.begin(), paths.end(), [](const auto& one, const auto& other) {
                               return one.size() < other.size();
                           })->size();
    for (size_t parts = 1; parts <= longest; ++parts) {
        std::vector<std::string> names;
        std::transform(paths.begin(), paths.end(), std::back_inserter(names),
                       [parts](const std::string& path) { return EndOf(path, parts); });
        if (std::set(names.begin(), names.end()).size() == different.size()) {
            return names;
        }
    }
    return paths;
}

}  // namespace ZYRA::Host
