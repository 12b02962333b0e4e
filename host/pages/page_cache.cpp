// SPDX-License-Identifier: Apache-2.0
#include "host/pages/page_cache.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "host/runtime/retry_on_eintr.h"

namespace ZYRA::Host {

namespace {

// Not yet in the headers of every C library that this is built with; the number is that of every architecture.
constexpr long CACHESTAT = 451;
constexpr uint64_t BYTES_PER_KIB = 1024;
// Of one call the kernel reads no more than the larger of the file's read-ahead and of what the disk takes in one
// request, and does not tell. So much it is everywhere but on disks that are set to less: 128 KiB.
constexpr uint64_t PAGES_A_CALL = 32;

struct CachestatRange {
    uint64_t offset;
    uint64_t length;
};
struct Cachestat {
    uint64_t cached;
    std::array<uint64_t, 4> rest;
};

// A part of the file in the process's memory, of which nothing is ever touched.
class Mapping {
public:
    Mapping(int file, const PageRange& range)
        : bytes_(range.count * BYTES_PER_PAGE),
          memory_(
              mmap(nullptr, bytes_, PROT_READ, MAP_SHARED, file, static_cast<off_t>(range.first * BYTES_PER_PAGE))) {}
    ~Mapping() {
        if (memory_ != MAP_FAILED) {
            munmap(memory_, bytes_);
        }
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    // One flag a page; empty on failure.
    std::vector<unsigned char> Residency() const {
        std::vector<unsigned char> flags(bytes_ / BYTES_PER_PAGE);
        return memory_ != MAP_FAILED && mincore(memory_, bytes_, flags.data()) == 0 ? flags
                                                                                    : std::vector<unsigned char>();
    }

private:
    const size_t bytes_;
    void* const memory_;
};

}  // namespace

PageSet ResidentPages(int file, uint64_t pages) {
    PageSet resident;
    if (pages == 0) {
        return resident;
    }
    const std::vector<unsigned char> flags = Mapping(file, {0, pages}).Residency();
    for (size_t first = 0; first < flags.size();) {
        size_t end = first;
        while (end < flags.size() && (flags[end] & 1) != 0) {
            ++end;
        }
        if (end > first) {
            resident.Add({first, end - first});
        }
        first = end + 1;
    }
    return resident;
}

uint64_t CountResident(int file, const PageRange& range) {
    CachestatRange asked{range.first * BYTES_PER_PAGE, range.count * BYTES_PER_PAGE};
    Cachestat answer{};
    if (syscall(CACHESTAT, file, &asked, &answer, 0U) == 0) {
        return std::min(answer.cached, range.count);
    }
    const std::vector<unsigned char> flags = Mapping(file, range).Residency();
    return static_cast<uint64_t>(
        std::count_if(flags.begin(), flags.end(), [](unsigned char flag) { return (flag & 1) != 0; }));
}

bool StartReading(int file, const PageRange& range) {
    for (uint64_t done = 0; done < range.count; done += PAGES_A_CALL) {
        const auto first = static_cast<off64_t>((range.first + done) * BYTES_PER_PAGE);
        const uint64_t bytes = std::min(PAGES_A_CALL, range.count - done) * BYTES_PER_PAGE;
        if (RetryOnEintr([&] { return readahead(file, first, bytes); }) != 0) {
            return false;
        }
    }
    return true;
}

MemoryState ReadMemoryState(const std::string& meminfo) {
    MemoryState state;
    std::ifstream lines(meminfo);
    std::string key, unit;
    for (uint64_t kib = 0; lines >> key >> kib && std::getline(lines, unit);) {
        if (key == "MemTotal:") {
            state.total = kib * BYTES_PER_KIB;
        } else if (key == "MemAvailable:") {
            state.available = kib * BYTES_PER_KIB;
        }
    }
    return state;
}

}  // namespace ZYRA::Host
