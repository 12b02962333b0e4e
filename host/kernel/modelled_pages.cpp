#include "host/kernel/modelled_pages.h"

namespace ZYRA::Host {

void ModelledPages::SetPages(const std::string& scene, uint64_t pages) {
    MutexLock lock(mutex_);
    pages_[scene] = pages;
}

uint64_t ModelledPages::PagesOf(const std::string& scene) {
    MutexLock lock(mutex_);
    return PagesOfLocked(scene);
}

uint64_t ModelledPages::PagesOfLocked(const std::string& scene) const {
    const auto known = pages_.find(scene);
    return known == pages_.end() ? DEFAULT_PAGES : known->second;
}

void ModelledPages::Begin(int monitor, const std::string& scene) {
    MutexLock lock(mutex_);
    running_[monitor] = scene;
}

uint64_t ModelledPages::End(int monitor) {
    MutexLock lock(mutex_);
    const auto collection = running_.extract(monitor);
    return collection.empty() ? 0 : PagesOfLocked(collection.mapped());
}

}  // namespace ZYRA::Host
