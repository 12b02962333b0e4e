// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/replay/virtual_device.h"
#include "host/runtime/journal.h"
#include "host/runtime/virtual_runtime.h"
#include "platform/file_util.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// A virtual device on virtual time, and what happened on it. The test drives the clock.
class VirtualDeviceTest : public ::testing::Test, private JournalSink {
protected:
    void SetUp() override {
        TaskRuntime::Install(runtime_);
        Journal::GetInstance().AddSink(this);
        std::string error;
        device_ = VirtualDevice::Start(DeviceModel(), error);
        ASSERT_NE(device_, nullptr) << error;
    }
    void TearDown() override {
        device_.reset();
        Journal::GetInstance().RemoveSink(this);
        TaskRuntime::InstallDefault();
    }

    void RunFor(int64_t ms) { runtime_.RunUntil(runtime_.ElapsedUs() + ms * 1000); }

    static std::string ReadFile(const std::string& path) {
        std::string content;
        return LoadStringFromFile(path, content) ? content : "errno " + std::to_string(errno);
    }

    // Takes what has happened since the last call: accepted and refused writes as "file <- content" (workingset files
    // without their folder), requests as "request TYPE/VALUE", system events as "NAME {parameters}".
    std::vector<std::string> TakeEffects() {
        MutexLock lock(mutex_);
        return std::exchange(effects_, {});
    }

    // Takes the faults that have struck since the last call, as "operation path".
    std::vector<std::string> TakeFaults() {
        MutexLock lock(mutex_);
        return std::exchange(faults_, {});
    }

    size_t CountLogs(const std::string& text) {
        MutexLock lock(mutex_);
        return static_cast<size_t>(std::count_if(logs_.begin(), logs_.end(), [&text](const std::string& log) {
            return log.find(text) != std::string::npos;
        }));
    }

    VirtualRuntime runtime_{1750000000};
    std::unique_ptr<VirtualDevice> device_;

private:
    // Writes come from the facility's threads.
    void OnEntry(const JournalEntry& entry) override {
        MutexLock lock(mutex_);
        if (const auto* log = std::get_if<LogEntry>(&entry.fact)) {
            logs_.push_back(log->text);
        } else if (const auto* write = std::get_if<FileWriteEntry>(&entry.fact)) {
            const std::string root = "/dev/workingset/";
            const std::string file = write->path.starts_with(root) ? write->path.substr(root.size()) : write->path;
            effects_.push_back(file + (write->IsAccepted() ? " <- " : " refuses ") + write->content);
        } else if (const auto* fault = std::get_if<FaultEntry>(&entry.fact)) {
            faults_.push_back(fault->operation + " " + fault->path);
        } else if (const auto* request = std::get_if<RequestEntry>(&entry.fact)) {
            effects_.push_back("request " + std::to_string(request->resType) + "/" + std::to_string(request->value) +
                               " " + request->payload.dump());
        } else if (std::holds_alternative<SysEventEntry>(entry.fact)) {
            const auto line = nlohmann::json::parse(ToJsonLine(entry));
            effects_.push_back(line["name"].get<std::string>() + " " + line["params"].dump());
        }
    }

    bool NeedsDescriptors() const override { return false; }

    Mutex mutex_;
    std::vector<std::string> logs_ GUARDED_BY(mutex_);
    std::vector<std::string> effects_ GUARDED_BY(mutex_);
    std::vector<std::string> faults_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
