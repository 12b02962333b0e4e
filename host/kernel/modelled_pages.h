#pragma once

#include <map>
#include <string>

#include "host/kernel/page_backend.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// Every collection of a scene touches the number of pages that the device model gives it. Thread-safe.
class ModelledPages final : public PageBackend {
public:
    static constexpr uint64_t DEFAULT_PAGES = 5200;

    void SetPages(const std::string& scene, uint64_t pages);
    uint64_t PagesOf(const std::string& scene);

    void Begin(int monitor, const std::string& scene) override;
    void Attach(int /*monitor*/, int32_t /*pid*/) override {}
    void Detach(int /*monitor*/, int32_t /*pid*/) override {}
    void ClearYoung(int32_t /*pid*/) override {}
    uint64_t End(int monitor) override;

private:
    uint64_t PagesOfLocked(const std::string& scene) const REQUIRES(mutex_);

    Mutex mutex_;
    std::map<std::string, uint64_t> pages_ GUARDED_BY(mutex_);
    std::map<int, std::string> running_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
