// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>

#include "platform/res_data.h"

namespace ZYRA::Bench {

// What an event passes through on its way from the thread that reports it to the one thread that handles it.
class Contender {
public:
    using Data = std::shared_ptr<ResourceSchedule::ResData>;

    virtual ~Contender() = default;
    // Any thread.
    virtual void Dispatch(const Data& data) = 0;
    // Returns when everything dispatched before has been handled. One thread at a time.
    virtual void WaitUntilHandled() = 0;
};

// The least that could do it: the payload is copied and pushed on one deque under one mutex, and one thread takes the
// events out and drops them.
std::unique_ptr<Contender> MakeBareQueue();

// The payload is copied into a handler that is posted to a strand, which one thread runs.
std::unique_ptr<Contender> MakeStrand();

}  // namespace ZYRA::Bench
