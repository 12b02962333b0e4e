// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/runtime/unique_fd.h"

struct perf_event_attr;

namespace ZYRA::Host {

// What the kernel tells of a process's dealings with the page cache.
enum class PageEventKind : uint8_t {
    ADDED,    // Pages were put into the cache: demanded, or read ahead.
    FAULTED,  // A page of a mapping was demanded and was not mapped yet.
    READ,     // read(2) and the like demanded pages.
    MAPPED,   // Around a page that was demanded, those pages were mapped that were in the cache.
    LOADED    // An inode was read from the disk; no pages.
};

// Pages that are demanded, wherever they come from.
inline const std::vector<PageEventKind> PAGE_DEMANDS = {PageEventKind::FAULTED, PageEventKind::READ,
                                                        PageEventKind::MAPPED};

struct PageEvent {
    uint64_t timeNs;
    PageEventKind kind;
    uint64_t device;  // As st_dev has it.
    uint64_t inode;
    uint64_t firstPage;
    uint64_t lastPage;  // Inclusive.
};

// A file that a process has mapped, by the name under which the process has opened it.
struct MappedFile {
    uint64_t device;
    uint64_t inode;
    std::string path;
    uint64_t timeNs = 0;
};

// What this kernel can tell. Looked up once.
class PageEventSupport {
public:
    // `tracefs` may be empty: then nothing can be told.
    explicit PageEventSupport(const std::string& tracefs);

    // Pages that are put into the cache.
    bool HasAdditions() const { return Has(PageEventKind::ADDED); }
    // All PAGE_DEMANDS.
    bool HasDemands() const;

    // How a raw sample of a tracepoint is read.
    struct Layout {
        struct Number {
            size_t offset = 0;
            size_t size = 0;
        };
        PageEventKind kind;
        uint64_t id;
        Number device;
        Number inode;
        // Sizes are 0 where the sample has none: a single page, or no pages.
        Number firstPage;
        Number lastPage;
        Number order;
    };
    const std::vector<Layout>& Layouts() const { return layouts_; }

private:
    bool Has(PageEventKind kind) const;

    std::vector<Layout> layouts_;
};

// Listens to processes and to what they fork from then on: what of the given kinds the kernel tells, and in any case
// what they map. While it is open, its tracepoints are on, so that to attach a process is quick. Used by one thread at
// a time.
class PageEventStream {
public:
    // `kinds` that the kernel does not have are left out. On failure returns null and fills `error` with one line.
    static std::unique_ptr<PageEventStream> Open(const PageEventSupport& support,
                                                 const std::vector<PageEventKind>& kinds, std::string& error);
    ~PageEventStream();
    PageEventStream(const PageEventStream&) = delete;
    PageEventStream& operator=(const PageEventStream&) = delete;

    // All threads of the process; children of it that are there already are processes of their own. Returns 0 or an
    // errno: ESRCH when the process is gone.
    int Attach(int32_t pid);
    // What the process and its children do from now on does not count.
    void Detach(int32_t pid);

    // Waits until there is much to take, at most so long.
    void Wait(int timeoutMs);
    // Appends what has happened since the last call, in the order of time but for what the processors hold back; each
    // file that was mapped once for all calls.
    void Take(std::vector<PageEvent>& events, std::vector<MappedFile>& files);
    // How many events there was no room for.
    uint64_t Lost() const { return lost_; }

private:
    class Ring;
    struct Source;

    PageEventStream() = default;
    int AttachThread(int32_t pid, int32_t thread);
    int Listen(int32_t pid, int32_t thread, const Ring& ring, const perf_event_attr& common, bool tellsMappings);
    void Read(const Ring& ring, std::vector<PageEvent>& events, std::vector<MappedFile>& files);

    std::vector<PageEventSupport::Layout> layouts_;
    std::vector<std::unique_ptr<Ring>> rings_;
    std::vector<Source> sources_;
    // Events that count nothing, and keep the tracepoints on.
    std::vector<UniqueFd> keepers_;
    std::vector<char> record_;
    std::set<std::pair<uint64_t, uint64_t>> toldFiles_;  // Device and inode.
    uint64_t lost_ = 0;
};

}  // namespace ZYRA::Host
