// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/cost/system_calls.h"

#include <linux/perf_event.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstring>

#include "host/pages/tracepoint.h"

namespace ZYRA::Bench {

namespace {

constexpr size_t PAGE_BYTES = 4096;
// Of whole pages and a power of two; a step of a start makes some dozens of calls.
constexpr size_t RING_BYTES = size_t{1} << 20;

}  // namespace

std::string CallName(long number) {
    static const std::map<long, const char*> NAMES = {
        {SYS_read, "read"},
        {SYS_write, "write"},
        {SYS_close, "close"},
        {SYS_openat, "openat"},
        {SYS_openat2, "openat2"},
        {SYS_newfstatat, "newfstatat"},
        {SYS_fstat, "fstat"},
        {SYS_lseek, "lseek"},
        {SYS_readlinkat, "readlinkat"},
        {SYS_mkdirat, "mkdirat"},
        {SYS_unlinkat, "unlinkat"},
        {SYS_futex, "futex"},
        {SYS_brk, "brk"},
        {SYS_mmap, "mmap"},
        {SYS_munmap, "munmap"},
        {SYS_mprotect, "mprotect"},
        {SYS_madvise, "madvise"},
        {SYS_clock_gettime, "clock_gettime"},
        {SYS_fcntl, "fcntl"},
        {SYS_getdents64, "getdents64"},
#ifdef SYS_readlink
        {SYS_readlink, "readlink"},
        {SYS_mkdir, "mkdir"},
        {SYS_open, "open"},
        {SYS_lstat, "lstat"},
        {SYS_stat, "stat"},
#endif
    };
    const auto name = NAMES.find(number);
    return name == NAMES.end() ? "call " + std::to_string(number) : name->second;
}

std::unique_ptr<SystemCalls> SystemCalls::Open() {
    const auto tracepoint = Host::Tracepoint::Find(Host::FindTracefs(), "raw_syscalls/sys_enter");
    const auto number = tracepoint ? tracepoint->FieldOf("id") : std::nullopt;
    if (!number || number->size != sizeof(long)) {
        return nullptr;
    }
    perf_event_attr attributes{};
    attributes.size = sizeof(attributes);
    attributes.type = PERF_TYPE_TRACEPOINT;
    attributes.config = tracepoint->Id();
    attributes.sample_period = 1;
    attributes.sample_type = PERF_SAMPLE_RAW;
    const int file = static_cast<int>(
        syscall(SYS_perf_event_open, &attributes, 0, -1, -1, static_cast<unsigned long>(PERF_FLAG_FD_CLOEXEC)));
    if (file < 0) {
        return nullptr;
    }
    void* const memory = mmap(nullptr, PAGE_BYTES + RING_BYTES, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        close(file);
        return nullptr;
    }
    return std::unique_ptr<SystemCalls>(new SystemCalls(file, static_cast<char*>(memory), number->offset));
}

SystemCalls::SystemCalls(int file, char* memory, size_t numberOffset)
    : file_(file), memory_(memory), numberOffset_(numberOffset) {}

SystemCalls::~SystemCalls() {
    munmap(memory_, PAGE_BYTES + RING_BYTES);
    close(file_);
}

CallCounts SystemCalls::Take() {
    auto* const page = reinterpret_cast<perf_event_mmap_page*>(memory_);
    const uint64_t head = std::atomic_ref(page->data_head).load(std::memory_order_acquire);
    uint64_t tail = page->data_tail;
    const auto copy = [this](uint64_t from, void* to, size_t size) {
        for (size_t at = 0; at < size; ++at) {
            static_cast<char*>(to)[at] = memory_[PAGE_BYTES + (from + at) % RING_BYTES];
        }
    };
    CallCounts counts;
    while (tail < head) {
        perf_event_header header{};
        copy(tail, &header, sizeof(header));
        if (header.type == PERF_RECORD_SAMPLE) {
            long number = -1;
            copy(tail + sizeof(header) + sizeof(uint32_t) + numberOffset_, &number, sizeof(number));
            ++counts[number];
        }
        tail += header.size;
    }
    std::atomic_ref(page->data_tail).store(tail, std::memory_order_release);
    return counts;
}

}  // namespace ZYRA::Bench
