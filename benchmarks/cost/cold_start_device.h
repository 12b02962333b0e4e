// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

namespace ZYRA::Bench {

// The application that is started, the process it gets, and those that run in the background meanwhile.
constexpr char BUNDLE[] = "com.example.mail";
constexpr char SCENE[] = "com.example.mail/com.example.mail";
constexpr int UID = 20010034;
constexpr int PID = 3121;
constexpr int FIRST_BACKGROUND_PID = 5000;
constexpr int BACKGROUND_PROCESSES = 6;

constexpr int64_t START_TIME_S = 1750000000;

// What a cold start finds behind the control files. One a process, in the sandbox.
class ColdStartDevice {
public:
    // Plain files in memory, the quickest that there are, filled beforehand with what is going to be asked.
    static std::unique_ptr<ColdStartDevice> OfPlainFiles();
    // The virtual device, whose kernel answers every operation. Throws std::runtime_error.
    static std::unique_ptr<ColdStartDevice> Virtual();

    virtual ~ColdStartDevice() = default;

    // Makes it as it is before a start. `record` is the state of the scene's record: absent, older or uptodate.
    void Prepare(const char* record);

private:
    virtual void PrepareKernel(const char* record) = 0;
};

}  // namespace ZYRA::Bench
