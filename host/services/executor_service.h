#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/task_queue.h"

namespace ZYRA::Host {

// What the executor does on the kernel's behalf.
class PrereadPort {
public:
    virtual ~PrereadPort() = default;
    // Prereads the record of the scene that is bound to the monitor. Any thread.
    virtual void Preread(int monitor) = 0;
};

// The privileged executor: carries out what the plugin asks for through ExecutorClient, in order of sending, on a queue
// of its own. While none exists, requests are journaled and otherwise dropped.
class ExecutorService {
public:
    // Becomes the executor of the device. `port` must outlive it.
    explicit ExecutorService(PrereadPort& port);
    // Carries nothing out any more once it has returned.
    ~ExecutorService();
    ExecutorService(const ExecutorService&) = delete;
    ExecutorService& operator=(const ExecutorService&) = delete;

    void SendAsync(uint32_t resType, int64_t value, nlohmann::json payload);
    int32_t SendSync(uint32_t resType, int64_t value, const nlohmann::json& payload, nlohmann::json& reply);

private:
    void Carry(uint32_t resType, int64_t value, const nlohmann::json& payload);

    PrereadPort& port_;
    std::unique_ptr<TaskQueue> queue_;
};

}  // namespace ZYRA::Host
