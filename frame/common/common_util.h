// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace ZYRA::ResourceSchedule {

// Device sizes and checks of payload texts. Stateless; every operation may be called from any thread.
class CommonUtil {
public:
    CommonUtil() = delete;

    // Main memory in MB, a multiple of 1024: the vendor's parameter, or what the kernel reports, rounded down to whole
    // GB. 0 on failure.
    static int64_t GetTotalRamSize();

    // Size of the storage in MB: the smallest power of two that holds both "/data" and "/". 0 on failure.
    static int64_t GetTotalRomSize();

    // Whether the text is one decimal digit or more and nothing else.
    static bool IsNumericString(const std::string& text);

    // The text without leading and trailing white space of the C locale.
    static std::string StringTrim(const std::string& text);

    // Wall clock in seconds since the epoch.
    static int64_t GetCurrentTimestamp();

    // Whether the text can be a bundle name: 7 to 127 letters, digits, "_" and ".", the first a letter.
    static bool CheckBundleName(const std::string& bundleName);

    // The decimal number that makes up the whole text, read as strtol reads it (leading white space and a sign are
    // accepted); 0 also when it is none or does not fit.
    static int32_t StringToInt32(const std::string& text);
};

}  // namespace ZYRA::ResourceSchedule
