// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/page_backend.h"
#include "host/kernel/record_store.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Every collection of a scene touches the number of pages that the device model gives it, and a preread of its record
// is done at once. Thread-safe.
class ModelledPages final : public PageBackend {
public:
    static constexpr uint64_t DEFAULT_PAGES = 5200;

    void SetPages(const std::string& scene, uint64_t pages);
    // Presets the scene's record, with as many pages as the scene has at this moment.
    void SetRecord(const std::string& scene, RecordState state);

    RecordState Bind(int monitor, const SceneLine& scene) override;
    RecordState StateOf(const SceneLine& scene) override;
    void Begin(int monitor, const SceneLine& scene) override;
    void Attach(int /*monitor*/, int32_t /*pid*/) override {}
    void Detach(int /*monitor*/, int32_t /*pid*/) override {}
    void ClearYoung(int32_t /*pid*/) override {}
    KeptRecord Keep(int monitor) override;
    void Drop(int monitor) override;
    void ClearRecord(const std::string& scene) override;
    std::vector<std::pair<std::string, int>> BackUp() override;
    void Preread(const SceneLine& scene, std::function<void(const PrereadResult&)> done) override;
    bool NeedsDescriptors() const override { return false; }

private:
    uint64_t PagesOf(const std::string& scene) const REQUIRES(mutex_);

    Mutex mutex_;
    std::map<std::string, uint64_t> pages_ GUARDED_BY(mutex_);
    std::map<int, SceneLine> running_ GUARDED_BY(mutex_);
    RecordStore records_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
