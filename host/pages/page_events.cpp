// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_events.h"

#include <linux/perf_event.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "host/pages/tracepoint.h"

namespace ZYRA::Host {

namespace {

constexpr size_t PAGE_BYTES = 4096;
// For each processor. Large enough for what a process does while the reader is not scheduled.
constexpr size_t RING_BYTES = size_t{2} << 20;
constexpr uint32_t WAKE_BYTES = 256U << 10;
// dev_t inside the kernel: 12 bits of major above 20 of minor.
constexpr unsigned KERNEL_MINOR_BITS = 20;

struct Source {
    PageEventKind kind;
    const char* tracepoint;
    const char* device;
    const char* inode;
    const char* firstPage;
    const char* lastPage;
    const char* order;
};
constexpr Source SOURCES[] = {
    {PageEventKind::ADDED, "filemap/mm_filemap_add_to_page_cache", "s_dev", "i_ino", "index", "", "order"},
    {PageEventKind::FAULTED, "filemap/mm_filemap_fault", "s_dev", "i_ino", "index", "", ""},
    {PageEventKind::READ, "filemap/mm_filemap_get_pages", "s_dev", "i_ino", "index", "last_index", ""},
    {PageEventKind::MAPPED, "filemap/mm_filemap_map_pages", "s_dev", "i_ino", "index", "last_index", ""},
    {PageEventKind::LOADED, "ext4/ext4_load_inode", "dev", "ino", "", "", ""},
    {PageEventKind::LOADED, "ext4/ext4_es_lookup_extent_enter", "dev", "ino", "", "", ""},
};

using Number = PageEventSupport::Layout::Number;

Number NumberOf(const Tracepoint& tracepoint, const char* name) {
    const auto field = tracepoint.FieldOf(name);
    return field ? Number{field->offset, field->size} : Number{};
}

uint64_t Value(const Number& number, const char* raw, size_t size) {
    uint64_t value = 0;
    if (number.offset + number.size <= size) {
        std::memcpy(&value, raw + number.offset, number.size);  // Little-endian, as is every machine that this runs on.
    }
    return value;
}

uint64_t UserDevice(uint64_t kernelDevice) {
    return makedev(static_cast<unsigned>(kernelDevice >> KERNEL_MINOR_BITS),
                   static_cast<unsigned>(kernelDevice & ((1U << KERNEL_MINOR_BITS) - 1)));
}

int OpenEvent(perf_event_attr& attributes, int32_t pid, int processor) {
    return static_cast<int>(syscall(SYS_perf_event_open, &attributes, pid, processor, -1,
                                    static_cast<unsigned long>(PERF_FLAG_FD_CLOEXEC)));
}

perf_event_attr CommonAttributes() {
    perf_event_attr attributes{};
    attributes.size = sizeof(attributes);
    attributes.sample_period = 1;
    attributes.sample_type = PERF_SAMPLE_TIME | PERF_SAMPLE_RAW;
    attributes.sample_id_all = 1;
    attributes.inherit = 1;
    attributes.watermark = 1;
    attributes.wakeup_watermark = WAKE_BYTES;
    return attributes;
}

// An event that never happens.
perf_event_attr DummyAttributes() {
    perf_event_attr attributes = CommonAttributes();
    attributes.type = PERF_TYPE_SOFTWARE;
    attributes.config = PERF_COUNT_SW_DUMMY;
    return attributes;
}

}  // namespace

PageEventSupport::PageEventSupport(const std::string& tracefs) {
    for (const auto& source : SOURCES) {
        const auto tracepoint = Tracepoint::Find(tracefs, source.tracepoint);
        if (!tracepoint) {
            continue;
        }
        const Layout layout{source.kind,
                            tracepoint->Id(),
                            NumberOf(*tracepoint, source.device),
                            NumberOf(*tracepoint, source.inode),
                            NumberOf(*tracepoint, source.firstPage),
                            NumberOf(*tracepoint, source.lastPage),
                            NumberOf(*tracepoint, source.order)};
        const bool isWhole = layout.device.size != 0 && layout.inode.size != 0 &&
                             (*source.firstPage == '\0' || layout.firstPage.size != 0) &&
                             (*source.lastPage == '\0' || layout.lastPage.size != 0);
        if (isWhole) {
            layouts_.push_back(layout);
        }
    }
}

bool PageEventSupport::Has(PageEventKind kind) const {
    return std::any_of(layouts_.begin(), layouts_.end(), [kind](const Layout& one) { return one.kind == kind; });
}

bool PageEventSupport::HasDemands() const {
    return Has(PageEventKind::FAULTED) && Has(PageEventKind::READ) && Has(PageEventKind::MAPPED);
}

// The memory that the kernel writes one processor's events to.
class PageEventStream::Ring {
public:
    static std::unique_ptr<Ring> Open(int processor) {
        perf_event_attr attributes = DummyAttributes();
        UniqueFd file(OpenEvent(attributes, 0, processor));
        if (!file.Valid()) {
            return nullptr;
        }
        void* const memory = mmap(nullptr, PAGE_BYTES + RING_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, file.Get(), 0);
        if (memory == MAP_FAILED) {
            return nullptr;
        }
        return std::unique_ptr<Ring>(new Ring(processor, std::move(file), memory));
    }
    ~Ring() { munmap(memory_, PAGE_BYTES + RING_BYTES); }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    int Processor() const { return processor_; }
    int File() const { return file_.Get(); }

    // Hands every whole record to `take` and gives its room back.
    template <typename Take>
    void Drain(std::vector<char>& record, Take take) const {
        auto* const page = static_cast<perf_event_mmap_page*>(memory_);
        const char* const data = static_cast<const char*>(memory_) + PAGE_BYTES;
        const uint64_t head = std::atomic_ref(page->data_head).load(std::memory_order_acquire);
        uint64_t tail = page->data_tail;
        while (tail < head) {
            perf_event_header header{};
            Copy(data, tail, reinterpret_cast<char*>(&header), sizeof(header));
            record.resize(header.size);
            Copy(data, tail, record.data(), header.size);
            take(header, record.data());
            tail += header.size;
        }
        std::atomic_ref(page->data_tail).store(tail, std::memory_order_release);
    }

private:
    Ring(int processor, UniqueFd file, void* memory) : processor_(processor), file_(std::move(file)), memory_(memory) {}

    static void Copy(const char* data, uint64_t from, char* to, size_t size) {
        const size_t begin = from % RING_BYTES;
        const size_t first = std::min(size, RING_BYTES - begin);
        std::memcpy(to, data + begin, first);
        std::memcpy(to + first, data, size - first);
    }

    const int processor_;
    const UniqueFd file_;
    void* const memory_;
};

// One event of one process on one processor.
struct PageEventStream::Source {
    int32_t pid;
    UniqueFd file;
};

std::unique_ptr<PageEventStream> PageEventStream::Open(const PageEventSupport& support,
                                                       const std::vector<PageEventKind>& kinds, std::string& error) {
    std::unique_ptr<PageEventStream> stream(new PageEventStream());
    for (const auto& layout : support.Layouts()) {
        if (std::find(kinds.begin(), kinds.end(), layout.kind) != kinds.end()) {
            stream->layouts_.push_back(layout);
        }
    }
    for (const auto& layout : stream->layouts_) {
        perf_event_attr attributes = CommonAttributes();
        attributes.type = PERF_TYPE_TRACEPOINT;
        attributes.config = layout.id;
        attributes.inherit = 0;
        attributes.disabled = 1;
        stream->keepers_.emplace_back(OpenEvent(attributes, 0, -1));
    }
    const long processors = sysconf(_SC_NPROCESSORS_CONF);
    for (int processor = 0; processor < processors; ++processor) {
        auto ring = Ring::Open(processor);
        if (ring == nullptr && errno == ENODEV) {
            continue;  // Not running.
        }
        if (ring == nullptr) {
            error = std::string("cannot listen to the page cache: perf_event_open: ") + std::strerror(errno);
            return nullptr;
        }
        stream->rings_.push_back(std::move(ring));
    }
    return stream;
}

PageEventStream::~PageEventStream() = default;

int PageEventStream::Attach(int32_t pid) {
    std::error_code isGone;
    bool isHeard = false;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task", isGone)) {
        const int error = AttachThread(pid, std::stoi(thread.path().filename()));
        if (error != 0 && error != ESRCH) {
            Detach(pid);
            return error;
        }
        isHeard |= error == 0;
    }
    return isHeard ? 0 : ESRCH;
}

int PageEventStream::AttachThread(int32_t pid, int32_t thread) {
    for (const auto& ring : rings_) {
        // One event of each process tells the mappings: where there is no other, one that never happens.
        int error = layouts_.empty() ? Listen(pid, thread, *ring, DummyAttributes(), true) : 0;
        for (const auto& layout : layouts_) {
            perf_event_attr attributes = CommonAttributes();
            attributes.type = PERF_TYPE_TRACEPOINT;
            attributes.config = layout.id;
            error = error == 0 ? Listen(pid, thread, *ring, attributes, &layout == &layouts_.front()) : error;
        }
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

int PageEventStream::Listen(int32_t pid, int32_t thread, const Ring& ring, const perf_event_attr& common,
                            bool tellsMappings) {
    perf_event_attr attributes = common;
    attributes.mmap = attributes.mmap_data = attributes.mmap2 = tellsMappings ? 1 : 0;
    UniqueFd file(OpenEvent(attributes, thread, ring.Processor()));
    if (!file.Valid() || ioctl(file.Get(), PERF_EVENT_IOC_SET_OUTPUT, ring.File()) != 0) {
        return errno;
    }
    sources_.push_back({pid, std::move(file)});
    return 0;
}

void PageEventStream::Detach(int32_t pid) {
    std::erase_if(sources_, [pid](const Source& source) { return source.pid == pid; });
}

void PageEventStream::Wait(int timeoutMs) {
    std::vector<pollfd> files;
    files.reserve(rings_.size());
    for (const auto& ring : rings_) {
        files.push_back({ring->File(), POLLIN, 0});
    }
    poll(files.data(), files.size(), timeoutMs);
}

void PageEventStream::Take(std::vector<PageEvent>& events, std::vector<MappedFile>& files) {
    const size_t before = events.size();
    const size_t filesBefore = files.size();
    for (const auto& ring : rings_) {
        Read(*ring, events, files);
    }
    const auto isEarlier = [](const auto& one, const auto& other) { return one.timeNs < other.timeNs; };
    std::sort(events.begin() + static_cast<std::ptrdiff_t>(before), events.end(), isEarlier);
    const auto newFiles = files.begin() + static_cast<std::ptrdiff_t>(filesBefore);
    std::sort(newFiles, files.end(), isEarlier);
    // What is no file has no inode.
    const auto isKnown = [this](const MappedFile& file) {
        return file.inode == 0 || !toldFiles_.insert({file.device, file.inode}).second;
    };
    files.erase(std::remove_if(newFiles, files.end(), isKnown), files.end());
}

void PageEventStream::Read(const Ring& ring, std::vector<PageEvent>& events, std::vector<MappedFile>& files) {
    // Behind the header of each record, as perf_event_open(2) lays them out.
    struct Sample {
        uint64_t timeNs;
        uint32_t size;
    };
    constexpr size_t SAMPLE_BYTES = 12;
    struct Mapping {
        uint32_t pid, tid;
        uint64_t address, length, pageOffset;
        uint32_t major, minor;
        uint64_t inode, generation;
        uint32_t protection, flags;
    };
    struct Loss {
        uint64_t id, count;
    };
    ring.Drain(record_, [&](const perf_event_header& header, const char* record) {
        const char* const body = record + sizeof(header);
        const size_t bytes = header.size - sizeof(header);
        if (header.type == PERF_RECORD_SAMPLE && bytes >= SAMPLE_BYTES + sizeof(uint16_t)) {
            Sample sample{};
            std::memcpy(&sample, body, SAMPLE_BYTES);
            const char* const raw = body + SAMPLE_BYTES;
            const size_t size = std::min<size_t>(sample.size, bytes - SAMPLE_BYTES);
            uint16_t id = 0;
            std::memcpy(&id, raw, sizeof(id));
            for (const auto& layout : layouts_) {
                if (layout.id != id) {
                    continue;
                }
                PageEvent event{sample.timeNs,
                                layout.kind,
                                UserDevice(Value(layout.device, raw, size)),
                                Value(layout.inode, raw, size),
                                Value(layout.firstPage, raw, size),
                                0};
                const uint64_t order = Value(layout.order, raw, size);
                event.lastPage = layout.lastPage.size != 0 ? Value(layout.lastPage, raw, size)
                                                           : event.firstPage + (uint64_t{1} << (order & 31)) - 1;
                events.push_back(event);
            }
        } else if (header.type == PERF_RECORD_MMAP2 && bytes > sizeof(Mapping) + sizeof(uint64_t)) {
            Mapping mapping{};
            std::memcpy(&mapping, body, sizeof(mapping));
            const char* const path = body + sizeof(mapping);
            const size_t pathBytes = bytes - sizeof(mapping) - sizeof(uint64_t);
            uint64_t timeNs = 0;
            std::memcpy(&timeNs, path + pathBytes, sizeof(timeNs));
            files.push_back({makedev(mapping.major, mapping.minor), mapping.inode,
                             std::string(path, strnlen(path, pathBytes)), timeNs});
        } else if (header.type == PERF_RECORD_LOST && bytes >= sizeof(Loss)) {
            Loss loss{};
            std::memcpy(&loss, body, sizeof(loss));
            lost_ += loss.count;
        }
    });
}

}  // namespace ZYRA::Host
