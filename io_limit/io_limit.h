// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ZYRA::ResourceSchedule {

// Starts and stops IO limiting with the plugin. Host threads, one at a time.
class Iolimit {
public:
    static Iolimit& GetInstance();

    Iolimit(const Iolimit&) = delete;
    Iolimit& operator=(const Iolimit&) = delete;

    // Does nothing but look at the switch when the configuration leaves IO limiting off.
    void Init();
    // From now on no event limits anything. Limits that are on stay on, and processes stay in their groups: a lift that
    // is pending goes with the task queue.
    void Deinit();

private:
    Iolimit() = default;
};

}  // namespace ZYRA::ResourceSchedule
