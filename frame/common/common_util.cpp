// SPDX-License-Identifier: Apache-2.0
#include "frame/common/common_util.h"

#include <sys/statvfs.h>
#include <sys/sysinfo.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string_view>

#include "frame/common/io_sched_log.h"
#include "platform/clock.h"
#include "platform/system_parameter.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr int64_t MB_PER_GB = 1024;
constexpr uint32_t GB_SHIFT = 30;
constexpr uint32_t MB_SHIFT = 20;
constexpr size_t BUNDLE_NAME_LENGTH_MIN = 7;
constexpr size_t BUNDLE_NAME_LENGTH_MAX = 127;
constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

// The locale of the process is the host's business: these know ASCII only.
constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
constexpr bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// 0 when the number of GB, or that of MB, does not fit.
int64_t ParseRamSizeGB(const std::string& digits) {
    int64_t gb = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, gb);
    if (error != std::errc() || stop != end || gb > std::numeric_limits<int64_t>::max() / MB_PER_GB) {
        return 0;
    }
    return gb * MB_PER_GB;
}

bool GetTotalSizeByStatvfs(const char* path, uint64_t& bytes) {
    struct statvfs info = {};
    int result;
    do {
        result = statvfs(path, &info);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        IOSCHED_LOGE("GetTotalSizeByStatvfs  error");
        return false;
    }
    // The number of blocks counts blocks of the fragment size.
    bytes = static_cast<uint64_t>(info.f_blocks) * info.f_frsize;
    return true;
}

}  // namespace

int64_t CommonUtil::GetTotalRamSize() {
    int64_t totalRamSize = 0;
    const std::string parameter = GetParameter("zyra.boot.vendor.ddrsize", "");
    if (IsNumericString(parameter)) {
        totalRamSize = ParseRamSizeGB(parameter);
    } else {
        struct sysinfo info = {};
        if (sysinfo(&info) != 0) {
            IOSCHED_LOGE("GetTotalRamSize error.");
            return 0;
        }
        // The kernel keeps a part of the memory for itself and reports the rest, so whole GB are all that can be said.
        totalRamSize = static_cast<int64_t>(static_cast<uint64_t>(info.totalram) >> GB_SHIFT) * MB_PER_GB;
    }
    IOSCHED_LOGD("CommonUtil GetTotalRamSize totalRamSize: %{private}ld", totalRamSize);
    return totalRamSize;
}

int64_t CommonUtil::GetTotalRomSize() {
    uint64_t dataBytes = 0;
    if (!GetTotalSizeByStatvfs("/data", dataBytes)) {
        IOSCHED_LOGE("GetTotalRomSize get data size error");
        return 0;
    }
    uint64_t rootBytes = 0;
    if (!GetTotalSizeByStatvfs("/", rootBytes)) {
        IOSCHED_LOGE("GetTotalRomSize get root size error");
        return 0;
    }
    // Storage is sold in powers of two, and part of it is neither "/data" nor "/".
    const uint64_t megabytes = (dataBytes + rootBytes) >> MB_SHIFT;
    const auto totalRomSize = static_cast<int64_t>(megabytes <= 1 ? megabytes : std::bit_ceil(megabytes));
    IOSCHED_LOGD("CommonUtil GetTotalRomSize totalRomSize: %{private}ld", totalRomSize);
    return totalRomSize;
}

bool CommonUtil::IsNumericString(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

std::string CommonUtil::StringTrim(const std::string& text) {
    const size_t first = text.find_first_not_of(WHITE_SPACE);
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(WHITE_SPACE) - first + 1);
}

int64_t CommonUtil::GetCurrentTimestamp() {
    return Clock::NowSeconds();
}

bool CommonUtil::CheckBundleName(const std::string& bundleName) {
    if (bundleName.size() < BUNDLE_NAME_LENGTH_MIN || bundleName.size() > BUNDLE_NAME_LENGTH_MAX ||
        !IsLetter(bundleName.front())) {
        return false;
    }
    return std::all_of(bundleName.begin(), bundleName.end(),
                       [](char c) { return IsLetter(c) || IsDigit(c) || c == '_' || c == '.'; });
}

int32_t CommonUtil::StringToInt32(const std::string& text) {
    constexpr int DECIMAL = 10;
    const char* begin = text.c_str();
    char* stop = nullptr;
    errno = 0;
    const long value = std::strtol(begin, &stop, DECIMAL);
    // Compared with the end of the string, not with a zero byte: one inside the text is a character left over.
    if (stop == begin || stop != begin + text.size() || errno == ERANGE ||
        value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
        return 0;
    }
    return static_cast<int32_t>(value);
}

}  // namespace ZYRA::ResourceSchedule
