// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/kernel/page_backend.h"
#include "host/machine/guardian.h"
#include "host/machine/machine_view.h"
#include "host/pages/file_finder.h"
#include "host/pages/opened_record.h"
#include "host/pages/page_collection.h"
#include "host/pages/page_events.h"
#include "host/pages/read_ahead.h"
#include "host/pages/record_fit.h"
#include "host/pages/tracepoint.h"
#include "host/pages/watch_listener.h"
#include "platform/mutex.h"

namespace ZYRA::Host {

// How pages are collected.
enum class CollectionMode : uint8_t {
    // Just what was demanded: read-ahead is turned off meanwhile. While a scene that has a record is bound it is turned
    // down to what is usual, so that the little which the record misses has not much around it read.
    EXACT,
    // No setting is changed: what was demanded, and what was mapped around it.
    PASSIVE,
};

// The page back end for real programs on stock Linux: records the file pages that the processes touch, as the kernel's
// tracepoints tell, and prereads them by readahead(2). Thread-safe.
//
// A record is looked at when its scene is bound: its files are opened and compared, which takes as long as the file
// systems need to find them. A preread runs on threads of its own. A scene that was preread and of which nothing has to
// be collected is watched: a record that has missed a little takes it in, one that has missed too much becomes older.
class LinuxPages final : public PageBackend {
public:
    struct Machine {
        const MachineView& view;
        const FileFinder& finder;
        Guardian& guardian;
        std::vector<std::string> readAheadFiles;
        PageEventSupport events{FindTracefs()};
    };

    // What `machine` refers to must outlive the object. REQUIRES: the process is in the sandbox, and root.
    LinuxPages(const Machine& machine, CollectionMode mode);
    ~LinuxPages() override;

    RecordState Bind(int monitor, const SceneLine& scene) override;
    RecordState StateOf(const SceneLine& scene) override;
    void Begin(int monitor, const SceneLine& scene) override;
    void Attach(int monitor, int32_t pid) override;
    void Detach(int monitor, int32_t pid) override;
    void ClearYoung(int32_t pid) override;
    KeptRecord Keep(int monitor) override;
    void Drop(int monitor) override;
    void Watch(int monitor, const SceneLine& scene) override;
    void EndWork(int monitor, bool isWhole) override;
    void ClearRecord(const std::string& scene) override;
    std::vector<std::pair<std::string, int>> BackUp() override;
    void Preread(const SceneLine& scene, std::function<void(const PrereadResult&)> done) override;
    void FinishPrereads() override;

    // A process exists whose start the device is told of later: it is listened to from now on, so that nothing of it is
    // missed when it turns out to be watched.
    void Expect(int32_t pid);

    // What the kernel lacks and what went wrong, one line each and each once.
    std::vector<std::string> Notes();
    // Whether the scene's record is up to date, looked up afresh.
    bool IsUpToDate(const SceneLine& scene);
    // The scene's record, if it is in the cache.
    std::shared_ptr<const PageRecord> RecordOf(const std::string& scene);
    // Of the last start of the scene that was preread and seen to its end.
    std::optional<RecordFit> FitOf(const std::string& scene);

private:
    // A scene's record in the cache.
    struct Known {
        std::shared_ptr<const PageRecord> record;
        std::string path;
        RecordState state = RecordState::ABSENT;
        std::optional<RecordFit> fit;
    };
    // What goes on on a monitor.
    struct Work {
        SceneLine scene;
        // Its record as it was when the work began; null without one.
        std::shared_ptr<const OpenedRecord> opened;
        bool wasPreread = false;
        std::unique_ptr<PageCollection> collection;
        // The collection is to become the record. Otherwise it is only compared with it.
        bool isRecording = false;
        std::optional<ReadAheadLevel> readAhead;
    };

    // Null where there is none.
    Known* Find(const SceneLine& scene) REQUIRES(mutex_);
    Work& Renew(int monitor, const SceneLine& scene) REQUIRES(mutex_);
    Work* WorkOf(int monitor) REQUIRES(mutex_);
    std::shared_ptr<const OpenedRecord> Open(Known* known) REQUIRES(mutex_);
    bool TurnDown(Work& work, ReadAheadLevel level, std::string& reason) REQUIRES(mutex_);
    void TurnBack(Work& work) REQUIRES(mutex_);
    // Ends the work's collection, if there is one, and its hold on the read-ahead.
    CollectedPages Finish(Work& work) REQUIRES(mutex_);
    void Compare(const Work& work, const CollectedPages& collected) REQUIRES(mutex_);
    void Improve(const SceneLine& scene, const Known& known) REQUIRES(mutex_);
    int Store(const SceneLine& scene, PageRecord record) REQUIRES(mutex_);
    // False when there is no thread for it.
    bool StartReading(std::shared_ptr<const OpenedRecord> opened, const std::function<void(const PrereadResult&)>& done)
        REQUIRES(mutex_);
    void Note(const std::string& line) REQUIRES(mutex_);

    const Machine machine_;
    const CollectionMode mode_;

    Mutex mutex_;
    ReadAhead readAhead_ GUARDED_BY(mutex_);
    std::map<std::string, Known> records_ GUARDED_BY(mutex_);
    std::map<int, Work> works_ GUARDED_BY(mutex_);
    WatchListener watchListener_ GUARDED_BY(mutex_);
    std::vector<std::future<void>> prereads_ GUARDED_BY(mutex_);
    std::vector<std::string> notes_ GUARDED_BY(mutex_);
};

}  // namespace ZYRA::Host
