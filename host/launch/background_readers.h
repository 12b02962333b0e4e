// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/launch/child_process.h"

namespace ZYRA::Host {

struct BackgroundReadersConfig {
    size_t count = 0;
    std::string folder = "/var/tmp";  // On the disk that is measured; the files in it have no names.
    uint64_t fileBytes = 192ULL << 20;
};

// Processes that read from the disk without pause, as another application's work would: each a file of its own, from
// its begin to its end again and again, with nothing of it kept in memory. They die with the host. One thread, which
// must outlive the object.
class BackgroundReaders {
public:
    // Returns when all of them read; on failure null, and one line in `error`. `enterMachine` runs first in each child:
    // it makes async-signal-safe calls only, and ends the attempt with false, errno telling why. Takes as long as to
    // write the files.
    static std::unique_ptr<BackgroundReaders> Start(const BackgroundReadersConfig& config,
                                                    const std::function<bool()>& enterMachine, std::string& error);

    // Kills and reaps them; the files are gone then.
    ~BackgroundReaders();
    BackgroundReaders(const BackgroundReaders&) = delete;
    BackgroundReaders& operator=(const BackgroundReaders&) = delete;

    std::vector<pid_t> Pids() const;

    // Once Pause has returned, none reads until Resume.
    void Pause();
    void Resume();

    // By all of them since they were started.
    uint64_t BytesRead() const { return *bytesRead_; }

private:
    using Counter = std::atomic<uint64_t>;
    static_assert(Counter::is_always_lock_free);

    BackgroundReaders() = default;

    Counter* bytesRead_ = nullptr;  // In memory that the readers share.
    std::vector<std::unique_ptr<ChildProcess>> readers_;
};

}  // namespace ZYRA::Host
