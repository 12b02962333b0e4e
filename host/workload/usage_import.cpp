// SPDX-License-Identifier: Apache-2.0
#include "host/workload/usage_import.h"

#include <map>
#include <set>
#include <string>
#include <utility>

#include "host/replay/printable.h"
#include "host/workload/bundle_names.h"

namespace ZYRA::Host {

namespace {

constexpr int64_t MS_PER_S = 1000;
constexpr int64_t LEAD_S = 60;
constexpr uint64_t SEED = 1;
constexpr int64_t NEVER_MS = INT64_MAX;

}  // namespace

UsageImport::UsageImport(const UsageLog& log, ScenarioText& scenario)
    : log_(log),
      startTimeS_(log.rows.front().timeMs / MS_PER_S - LEAD_S),
      random_(SEED),
      device_(scenario, random_, false) {
    NameApps(scenario);
}

void UsageImport::NameApps(ScenarioText& scenario) {
    std::vector<std::string> labels;
    std::map<std::string, size_t> indexes;
    for (const UsageRow& row : log_.rows) {
        const auto [known, isNew] = indexes.emplace(row.app, labels.size());
        if (isNew) {
            labels.push_back(row.app);
        }
        appOfRow_.push_back(known->second);
    }
    const auto names = BundleNamesOf(labels);
    for (const std::string& label : labels) {
        const std::string& name = names.at(label);
        if (name != label) {
            scenario.Comment(name + " stands for " + Quoted(label));
        }
        apps_.push_back(NewApplication(name, apps_.size(), random_));
    }
    std::set<std::pair<size_t, std::string>> known;
    for (size_t row = 0; row < log_.rows.size(); ++row) {
        const std::string& page = log_.rows[row].page;
        if (!page.empty() && page != FIRST_PAGE && known.emplace(appOfRow_[row], page).second) {
            AddPage(apps_[appOfRow_[row]], page, random_);
        }
    }
}

void UsageImport::Run() {
    constexpr int64_t CHARGING_PAUSE_MS = 3 * 3600 * MS_PER_S;
    const auto timeOf = [this](size_t row) {
        return row < log_.rows.size() ? log_.rows[row].timeMs - startTimeS_ * MS_PER_S : NEVER_MS;
    };
    bool isScreenOn = false;
    for (size_t row = 0; row < log_.rows.size(); ++row) {
        device_.AdvanceTo(timeOf(row));
        if (!std::exchange(isScreenOn, true)) {
            device_.SwitchScreen(true);
            device_.SetCharging(false);
        }
        UseApp(log_.rows[row], appOfRow_[row]);

        const int64_t nextMs = timeOf(row + 1);
        const auto offMs = ScreenOffMs(log_.rows[row], timeOf(row), nextMs);
        if (!offMs) {
            continue;
        }
        device_.AdvanceTo(*offMs);
        // How long the last pause is, the log does not say.
        if (nextMs != NEVER_MS && nextMs - *offMs >= CHARGING_PAUSE_MS) {
            device_.SetCharging(true);
        }
        device_.SwitchScreen(false);
        isScreenOn = false;
        front_ = NONE;
    }
}

void UsageImport::UseApp(const UsageRow& row, size_t app) {
    const std::string page = row.page.empty() ? FIRST_PAGE : row.page;
    const bool wasInFront = std::exchange(front_, app) == app;
    if (!wasInFront) {
        const bool isCold = device_.Start(apps_[app]);
        if (isCold && page == FIRST_PAGE) {
            return;  // The start has shown it.
        }
        device_.Pass(random_.Between(300, 1200));
    }
    device_.Navigate(apps_[app], page);
}

std::optional<int64_t> UsageImport::ScreenOffMs(const UsageRow& row, int64_t beginMs, int64_t nextMs) {
    constexpr int64_t LONGEST_GLANCE_MS = 60 * MS_PER_S;
    constexpr int64_t LONGEST_VISIT_MS = 600 * MS_PER_S;
    const int64_t endMs = beginMs + row.durationMs.value_or(LONGEST_GLANCE_MS);
    const int64_t staysOnUntilMs = row.durationMs ? endMs + LONGEST_GLANCE_MS : beginMs + LONGEST_VISIT_MS;
    return nextMs > staysOnUntilMs ? std::optional(endMs) : std::nullopt;
}

}  // namespace ZYRA::Host
