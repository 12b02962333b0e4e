// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/record_file.h"
#include "host/kernel/scene_line.h"

namespace ZYRA::Host {

// What became of a collection.
struct KeptRecord {
    // How many different pages were touched; with none, the scene's record is what it was.
    uint64_t pages = 0;
    // The errno of the record file, or 0. The record is kept in the facility's cache either way.
    int fileError = 0;
};

struct PrereadResult {
    // What has been read from the storage, also by one that failed on the way.
    uint64_t bytes = 0;
    // The facility's code of a failure: NO_PAGE or NO_READ; empty on success.
    std::string failure;

    // "Could not make the pages for the record": memory is short.
    static constexpr const char* NO_PAGE = "1";
    // "Could not read the pages of the record."
    static constexpr const char* NO_READ = "2";
};

// Finds out which file pages the processes of a scene touch, keeps them as the scene's record, and prereads them.
// Thread-safe, and may be called with a lock held: an implementation does not call back but through `done` of Preread.
class PageBackend {
public:
    virtual ~PageBackend() = default;

    // The scene has been written to a monitor. Returns the state of its record, looked up afresh when the scene's work
    // begins here.
    virtual RecordState Bind(int monitor, const SceneLine& scene) = 0;
    // The state of the scene's record, as far as it is known.
    virtual RecordState StateOf(const SceneLine& scene) = 0;

    // A collection for the bound scene begins on the monitor, with nothing touched; its processes follow through
    // Attach.
    virtual void Begin(int monitor, const SceneLine& scene) = 0;
    // A process joins or leaves the monitor's collection. Children of a process belong to it from their start.
    virtual void Attach(int monitor, int32_t pid) = 0;
    virtual void Detach(int monitor, int32_t pid) = 0;
    // What the process has touched so far does not count any more.
    virtual void ClearYoung(int32_t pid) = 0;
    // Ends the monitor's collection, which becomes the scene's record, or is dropped.
    virtual KeptRecord Keep(int monitor) = 0;
    virtual void Drop(int monitor) = 0;

    // The bound scene, of which nothing has to be collected, runs in its process from now on, until the monitor's work
    // ends. An occasion to compare its record with what it does.
    virtual void Watch(int /*monitor*/, const SceneLine& /*scene*/) {}
    // The monitor's work on the bound scene has ended; with `isWhole` it was not broken off.
    virtual void EndWork(int /*monitor*/, bool /*isWhole*/) {}

    // Drops the cached record; the file is left alone.
    virtual void ClearRecord(const std::string& scene) = 0;
    // Writes every cached record to its file. Returns the scenes for which that failed, with the errno.
    virtual std::vector<std::pair<std::string, int>> BackUp() = 0;

    // Prereads the record of the scene. `done` is called once: before this returns, or on another thread with no lock
    // held.
    virtual void Preread(const SceneLine& scene, std::function<void(const PrereadResult&)> done) = 0;
    // Whether anything but looking for a record, writing it and prereading it does what ControlFiles says.
    virtual bool NeedsDescriptors() const { return true; }

    // Waits until no preread is under way. No new one is started meanwhile.
    virtual void FinishPrereads() {}
};

}  // namespace ZYRA::Host
