// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "host/runtime/confined_folder.h"
#include "platform/mutex.h"
#include "platform/task_queue.h"

namespace ZYRA::Host {

// What the executor does on the kernel's behalf.
class PrereadPort {
public:
    virtual ~PrereadPort() = default;
    // Prereads the record of the scene that is bound to the monitor. Any thread.
    virtual void Preread(int monitor) = 0;
};

// The privileged executor: carries out what the plugin asks for through ExecutorClient, one at a time and in order of
// sending: on a queue of its own, or before a request that is waited for, on that one's thread. While none exists,
// requests are journaled and otherwise dropped. The requests, by type and value:
//   8/0   prereads the record of the monitor "index"
//   8/1   is for a cache that the virtual device does not have, and noted only
//   8/2   writes "content" to the file "filePath", which must exist below /dev/iolimit/
//   0/3   replies with the lines of such a file: {"list": [...]}
// A request that cannot be carried out is refused: logged, in the journal, and without any effect.
class ExecutorService {
public:
    // Becomes the executor of the device. `port` must outlive it.
    explicit ExecutorService(PrereadPort& port);
    // Carries nothing out any more once it has returned. Waits for what runs.
    ~ExecutorService();
    ExecutorService(const ExecutorService&) = delete;
    ExecutorService& operator=(const ExecutorService&) = delete;

    void SendAsync(uint32_t resType, int64_t value, nlohmann::json payload);
    // Returns 0 and fills `reply`, or non-zero and empties it.
    int32_t SendSync(uint32_t resType, int64_t value, const nlohmann::json& payload, nlohmann::json& reply);

private:
    struct Request {
        uint32_t resType;
        int64_t value;
        nlohmann::json payload;
    };

    // Returns whether there was one.
    bool CarryNext() REQUIRES(workMutex_);
    // Returns "", or why it was not carried out.
    std::string Carry(const Request& request) REQUIRES(workMutex_);
    std::string Preread(const nlohmann::json& payload) REQUIRES(workMutex_);
    std::string WriteFile(const nlohmann::json& payload) REQUIRES(workMutex_);
    std::string ReadFile(const nlohmann::json& payload, nlohmann::json& reply) REQUIRES(workMutex_);

    PrereadPort& port_;
    const ConfinedFolder limitFiles_;
    const std::unique_ptr<TaskQueue> queue_;

    // Held while a request is carried out; taken before the other.
    Mutex workMutex_;
    Mutex pendingMutex_;
    std::deque<Request> pending_ GUARDED_BY(pendingMutex_);
};

}  // namespace ZYRA::Host
