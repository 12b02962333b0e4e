// SPDX-License-Identifier: Apache-2.0
// Random lives of five users' processes: after each start and each slide every process is in the group in which a naive
// model has it.

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "io_limit/io_limit.h"
#include "tests/support/plugin_on_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

constexpr int USERS = 5;
// The bundle of the last user is one of the system, that of the one before is limited although it is, too.
constexpr int SYSTEM_USER = 4;
constexpr int STORE_USER = 3;
const std::array<const char*, 3> GROUPS = {"iocontrol", "heavyio", "ionormal"};

struct Process {
    int user;
    bool isForeground = false;
    bool isFrozen = false;
    std::string group;
};

// What the policy is to do, in sets of reasons and without any bits.
struct NaiveDevice {
    std::set<std::pair<int, std::string>> reasons;  // Why a user is white-listed.
    std::set<int> heavy;
    std::set<int> system;
    std::map<int, Process> processes;

    void Trigger(int startingUser) {
        std::set<int> foreground = PidsOf(startingUser, true);
        if (foreground.empty()) {
            foreground = PidsOf(startingUser, false);
        }
        for (auto& [pid, process] : processes) {
            if (foreground.contains(pid)) {
                process.group = "ionormal";
            } else if (process.user != startingUser && !system.contains(process.user) && !process.isFrozen) {
                Place(process);
            }
        }
    }

    void Place(Process& process) {
        const bool isListed = std::any_of(reasons.begin(), reasons.end(),
                                          [&](const auto& reason) { return reason.first == process.user; });
        if (process.group == "iocontrol") {
            process.group = isListed ? "ionormal" : "iocontrol";
        } else if (heavy.contains(process.user)) {
            process.group = "heavyio";
        } else if (!isListed) {
            process.group = "iocontrol";
        }
    }

    std::set<int> PidsOf(int user, bool isForeground) const {
        std::set<int> pids;
        for (const auto& [pid, process] : processes) {
            if (process.user == user && process.isForeground == isForeground) {
                pids.insert(pid);
            }
        }
        return pids;
    }

    void List(int user, const std::string& reason, bool isBegun) {
        if (isBegun) {
            reasons.insert({user, reason});
        } else {
            reasons.erase({user, reason});
        }
    }
};

class LimitPolicyTest : public PluginOnDeviceTest {
protected:
    void SetUp() override {
        PluginOnDeviceTest::SetUp();
        Start();
        Iolimit::GetInstance().Init();
    }
    void TearDown() override {
        Iolimit::GetInstance().Deinit();
        PluginOnDeviceTest::TearDown();
    }

    // Users and bundles of an earlier life are never seen again, its processes have ended.
    void BeginLife() {
        ++life_;
        naive_ = NaiveDevice();
        nlohmann::json patch = {{"processes", nullptr}};
        device_->Apply(patch);
        for (const int user : {SYSTEM_USER, STORE_USER}) {
            patch = {{"bundles", {{Bundle(user), {{"systemApp", true}, {"removable", false}}}}}};
            patch["bundles"][Bundle(user)]["uid"] = Uid(user);
            device_->Apply(patch);
        }
        for (int index = 0; index < USERS * 2; ++index) {
            naive_.processes[100 + index] = {index % USERS, false, false, ""};
        }
        for (auto& [pid, process] : naive_.processes) {
            ApplyProcess(pid, process);
        }
    }

    void ApplyProcess(int pid, const Process& process) {
        nlohmann::json entry = {{"foreground", process.isForeground}, {"frozen", process.isFrozen}};
        entry["uid"] = Uid(process.user);
        entry["bundles"] = {Bundle(process.user), "com.example.second"};
        device_->Apply({{"processes", {{std::to_string(pid), entry}}}});
    }

    uint32_t Uid(int user) const { return 1000U + life_ * USERS + static_cast<uint32_t>(user); }
    std::string Bundle(int user) const {
        return user == STORE_USER ? "com.zelmar.qubapp.storefront"
                                  : "com.example.user" + std::to_string(life_) + "_" + std::to_string(user);
    }
    nlohmann::json Payload(int user) const {
        return {{"uid", std::to_string(Uid(user))}, {"bundleName", Bundle(user)}};
    }

    std::map<int, std::string> Groups() {
        std::map<int, std::string> groups;
        for (const char* group : GROUPS) {
            std::istringstream members(ReadFile(std::string("/dev/iolimit/") + group + "/cgroup.procs"));
            for (int pid = 0; members >> pid;) {
                groups[pid] = group;
            }
        }
        return groups;
    }

    void ExpectGroups() {
        std::map<int, std::string> expected;
        for (const auto& [pid, process] : naive_.processes) {
            if (!process.group.empty()) {
                expected[pid] = process.group;
            }
        }
        RC_ASSERT(Groups() == expected);
    }

    void Event(uint32_t type, int64_t value, int user) {
        const bool isBegin = value == (type == 12 ? 1 : 0);
        nlohmann::json payload = Payload(user);
        if (type == 3) {
            value = value == 0 ? 2 : 8;
            naive_.List(user, "3", true);
        } else if (type == 4) {
            value = 0;
            naive_.List(user, "3", false);
            // The store is one of the system as well, which does not help it.
            if (user == SYSTEM_USER) {
                naive_.system.insert(user);
            }
        } else if (type == 83) {
            naive_.List(user, "70", isBegin);
        } else if (type == 107) {
            type = 7;
            payload["typeId"] = "1";
            naive_.heavy.erase(user);
            if (isBegin) {
                naive_.heavy.insert(user);
            }
        } else {
            payload["typeId"] = "2";
            naive_.List(user, std::to_string(type), isBegin);
        }
        Send(type, value, payload);
    }

    void Live() {
        BeginLife();
        // 7 stands for continuous tasks that transfer nothing, 107 for those that do, 11 for slides.
        const auto steps = *rc::gen::container<std::vector<std::tuple<uint32_t, int, int>>>(
            rc::gen::tuple(rc::gen::element(3U, 4U, 7U, 107U, 12U, 70U, 83U, 27U, 27U, 11U, 900U, 901U),
                           rc::gen::inRange(0, 2), rc::gen::inRange(0, USERS)));
        for (const auto& [type, value, user] : steps) {
            if (type >= 900) {
                Process& process = naive_.processes.at(100 + user + value * USERS);
                bool& flag = type == 900 ? process.isForeground : process.isFrozen;
                flag = !flag;
                ApplyProcess(100 + user + value * USERS, process);
            } else if (type == 27) {
                naive_.Trigger(user);
                Send(27, 1, Payload(user));
                ExpectGroups();
            } else if (type == 11) {
                naive_.Trigger(-1);
                Send(11, 1, {});
                ExpectGroups();
            } else {
                Event(type, value, user);
            }
        }
    }

    uint32_t life_ = 0;
    NaiveDevice naive_;
};

TEST_F(LimitPolicyTest, EveryProcessIsWhereANaiveModelHasIt) {
    EXPECT_TRUE(rc::check([this] { Live(); }));
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
