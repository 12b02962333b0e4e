// SPDX-License-Identifier: Apache-2.0
#include "host/kernel/modelled_pages.h"

namespace ZYRA::Host {

namespace {

constexpr uint64_t PAGE_BYTES = 4096;

}  // namespace

void ModelledPages::SetPages(const std::string& scene, uint64_t pages) {
    MutexLock lock(mutex_);
    pages_[scene] = pages;
}

void ModelledPages::SetRecord(const std::string& scene, RecordState state) {
    MutexLock lock(mutex_);
    records_.Preset(scene, Record{state, PagesOf(scene)});
}

uint64_t ModelledPages::PagesOf(const std::string& scene) const {
    const auto known = pages_.find(scene);
    return known == pages_.end() ? DEFAULT_PAGES : known->second;
}

RecordState ModelledPages::Bind(int /*monitor*/, const SceneLine& scene) {
    return StateOf(scene);
}

RecordState ModelledPages::StateOf(const SceneLine& scene) {
    MutexLock lock(mutex_);
    return records_.Find(scene.scene, scene.recordPath).state;
}

void ModelledPages::Begin(int monitor, const SceneLine& scene) {
    MutexLock lock(mutex_);
    running_[monitor] = scene;
}

KeptRecord ModelledPages::Keep(int monitor) {
    MutexLock lock(mutex_);
    const auto collection = running_.extract(monitor);
    if (collection.empty()) {
        return {};
    }
    const SceneLine& scene = collection.mapped();
    const uint64_t pages = PagesOf(scene.scene);
    return {pages, pages == 0 ? 0 : records_.Put(scene.scene, scene.recordPath, pages)};
}

void ModelledPages::Drop(int monitor) {
    MutexLock lock(mutex_);
    running_.erase(monitor);
}

void ModelledPages::ClearRecord(const std::string& scene) {
    MutexLock lock(mutex_);
    records_.Clear(scene);
}

std::vector<std::pair<std::string, int>> ModelledPages::BackUp() {
    MutexLock lock(mutex_);
    return records_.BackUp();
}

void ModelledPages::Preread(const SceneLine& scene, std::function<void(const PrereadResult&)> done) {
    Record record;
    {
        MutexLock lock(mutex_);
        record = records_.Find(scene.scene, scene.recordPath);
    }
    const bool isThere = record.state != RecordState::ABSENT;
    done(isThere ? PrereadResult{record.pages * PAGE_BYTES, ""} : PrereadResult{0, PrereadResult::NO_READ});
}

}  // namespace ZYRA::Host
