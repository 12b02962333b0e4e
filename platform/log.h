// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "platform/platform_api.h"

namespace ZYRA {

enum class LogLevel : int32_t { DEBUG = 3, INFO = 4, WARN = 5, ERROR = 6, FATAL = 7 };

// Where a line comes from: the domain is the number of the component, the tag its readable name.
struct LogLabel {
    uint32_t domain;
    const char* tag;
};

// A log format is a printf format whose conversions carry a visibility: "%{public}d" is shown, "%{private}s" is shown
// only on a device that reveals it, and a conversion without a marker counts as private. Allowed are
//   d u with no length, l or ll    s    %%
// without flags, width or precision. Formats are checked against the types of the arguments at compile time: a
// conversion takes exactly the type that its length names (after the usual promotion of small integers and bool to
// int), s takes a `const char*`.

// One argument on its way to the log writer. Strings are borrowed for the length of the call.
struct LogArg {
    enum class Kind : uint8_t { SIGNED, UNSIGNED, STRING };

    constexpr LogArg(int value) : kind(Kind::SIGNED), number(static_cast<uint64_t>(value)) {}
    constexpr LogArg(long value) : kind(Kind::SIGNED), number(static_cast<uint64_t>(value)) {}
    constexpr LogArg(long long value) : kind(Kind::SIGNED), number(static_cast<uint64_t>(value)) {}
    constexpr LogArg(unsigned value) : kind(Kind::UNSIGNED), number(value) {}
    constexpr LogArg(unsigned long value) : kind(Kind::UNSIGNED), number(value) {}
    constexpr LogArg(unsigned long long value) : kind(Kind::UNSIGNED), number(value) {}
    constexpr LogArg(const char* value) : kind(Kind::STRING), text(value) {}

    Kind kind;
    uint64_t number = 0;
    const char* text = nullptr;
};

namespace LogDetail {

enum class ArgType : uint8_t { INT, UINT, LONG, ULONG, LLONG, ULLONG, STRING, OTHER };

template <typename T>
constexpr ArgType ArgTypeOf() {
    using Value = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<Value, const char*> || std::is_same_v<Value, char*>) {
        return ArgType::STRING;
    } else if constexpr (std::is_same_v<Value, bool> || std::is_same_v<Value, char> ||
                         (std::is_integral_v<Value> && sizeof(Value) < sizeof(int)) || std::is_same_v<Value, int>) {
        return ArgType::INT;
    } else if constexpr (std::is_same_v<Value, unsigned>) {
        return ArgType::UINT;
    } else if constexpr (std::is_same_v<Value, long>) {
        return ArgType::LONG;
    } else if constexpr (std::is_same_v<Value, unsigned long>) {
        return ArgType::ULONG;
    } else if constexpr (std::is_same_v<Value, long long>) {
        return ArgType::LLONG;
    } else if constexpr (std::is_same_v<Value, unsigned long long>) {
        return ArgType::ULLONG;
    } else {
        return ArgType::OTHER;
    }
}

// Not constexpr on purpose: reaching one of these during the check of a format is the compile error, and its name is
// the message.
void FormatHasAnUnknownMarkerOrConversion();
void FormatDoesNotMatchTheTypeOfItsArgument();
void FormatHasMoreConversionsThanArguments();
void FormatHasFewerConversionsThanArguments();

constexpr const char* SkipIfStartsWith(const char* text, const char* prefix) {
    const char* at = text;
    for (; *prefix != '\0'; ++prefix, ++at) {
        if (*at != *prefix) {
            return text;
        }
    }
    return at;
}

constexpr ArgType TypeOfConversion(int longs, char conversion) {
    if (conversion == 'd') {
        return longs == 0 ? ArgType::INT : (longs == 1 ? ArgType::LONG : ArgType::LLONG);
    }
    if (conversion == 'u') {
        return longs == 0 ? ArgType::UINT : (longs == 1 ? ArgType::ULONG : ArgType::ULLONG);
    }
    if (conversion == 's' && longs == 0) {
        return ArgType::STRING;
    }
    FormatHasAnUnknownMarkerOrConversion();
    return ArgType::OTHER;
}

constexpr void CheckFormat(const char* format, const ArgType* types, size_t count) {
    size_t used = 0;
    for (const char* at = format; *at != '\0'; ++at) {
        if (*at != '%') {
            continue;
        }
        ++at;
        if (*at == '%') {
            continue;
        }
        at = SkipIfStartsWith(at, "{public}");
        at = SkipIfStartsWith(at, "{private}");
        int longs = 0;
        for (; *at == 'l' && longs < 2; ++at) {
            ++longs;
        }
        const ArgType wanted = TypeOfConversion(longs, *at);
        if (used == count) {
            FormatHasMoreConversionsThanArguments();
            return;
        }
        if (types[used] != wanted) {
            FormatDoesNotMatchTheTypeOfItsArgument();
        }
        ++used;
    }
    if (used != count) {
        FormatHasFewerConversionsThanArguments();
    }
}

}  // namespace LogDetail

// A format that has been checked against Args; made from a string literal only.
template <typename... Args>
class LogFormat {
public:
    consteval LogFormat(const char* text) : text_(text) {
        const LogDetail::ArgType types[] = {LogDetail::ArgTypeOf<Args>()..., LogDetail::ArgType::OTHER};
        LogDetail::CheckFormat(text, types, sizeof...(Args));
    }
    const char* Text() const { return text_; }

private:
    const char* text_;
};

// The lowest level that is written. The platform changes it at run time.
PLATFORM_API extern std::atomic<int32_t> logThreshold;

inline bool IsLoggable(LogLevel level) {
    return static_cast<int32_t>(level) >= logThreshold.load(std::memory_order_relaxed);
}

// Writes one line; a null string is written as "(null)". Thread-safe, never fails visibly, never throws.
PLATFORM_API void LogWrite(LogLevel level, const LogLabel& label, const char* format, const LogArg* args,
                           size_t count) noexcept;

template <typename... Args>
void LogPrint(LogLevel level, const LogLabel& label, LogFormat<std::type_identity_t<Args>...> format,
              Args... args) noexcept {
    const LogArg list[] = {LogArg(args)..., LogArg(0)};
    LogWrite(level, label, format.Text(), list, sizeof...(Args));
}

}  // namespace ZYRA

// Nothing of the arguments is evaluated while the level is off.
#define ZYRA_LOG(level, label, ...)                      \
    do {                                                 \
        if (::ZYRA::IsLoggable(level)) {                 \
            ::ZYRA::LogPrint(level, label, __VA_ARGS__); \
        }                                                \
    } while (false)
