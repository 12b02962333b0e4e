// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/log.h"

namespace ZYRA::ResourceSchedule {

constexpr uint32_t IOSCHED_LOG_DOMAIN = 0x1051;
constexpr LogLabel IOSCHED_LOG_LABEL = {IOSCHED_LOG_DOMAIN, "IOSched"};
constexpr LogLabel EXACT_PREREAD_LOG_LABEL = {IOSCHED_LOG_DOMAIN, "EXACT_PREREAD"};

}  // namespace ZYRA::ResourceSchedule

// Every line starts with the name of a function. The ..._AS forms take that name: inside a closure __func__ would only
// say "operator()", and some lines bear the name of another function than the one that they stand in.

#define IOSCHED_LOG_AS(level, function, format, ...)                                     \
    ZYRA_LOG(level, ::ZYRA::ResourceSchedule::IOSCHED_LOG_LABEL, "[%{public}s:]" format, \
             function __VA_OPT__(, ) __VA_ARGS__)

#define IOSCHED_LOGD_AS(function, ...) IOSCHED_LOG_AS(::ZYRA::LogLevel::DEBUG, function, __VA_ARGS__)
#define IOSCHED_LOGI_AS(function, ...) IOSCHED_LOG_AS(::ZYRA::LogLevel::INFO, function, __VA_ARGS__)
#define IOSCHED_LOGW_AS(function, ...) IOSCHED_LOG_AS(::ZYRA::LogLevel::WARN, function, __VA_ARGS__)
#define IOSCHED_LOGE_AS(function, ...) IOSCHED_LOG_AS(::ZYRA::LogLevel::ERROR, function, __VA_ARGS__)

#define IOSCHED_LOGD(...) IOSCHED_LOGD_AS(__func__, __VA_ARGS__)
#define IOSCHED_LOGI(...) IOSCHED_LOGI_AS(__func__, __VA_ARGS__)
#define IOSCHED_LOGW(...) IOSCHED_LOGW_AS(__func__, __VA_ARGS__)
#define IOSCHED_LOGE(...) IOSCHED_LOGE_AS(__func__, __VA_ARGS__)

// Exact preread's lines name the source line as well.

#define EP_LOG_AS(level, function, format, ...)                                                                       \
    ZYRA_LOG(level, ::ZYRA::ResourceSchedule::EXACT_PREREAD_LOG_LABEL, "[(%{public}s):%{public}d] " format, function, \
             __LINE__ __VA_OPT__(, ) __VA_ARGS__)

#define EP_LOGD_AS(function, ...) EP_LOG_AS(::ZYRA::LogLevel::DEBUG, function, __VA_ARGS__)
#define EP_LOGI_AS(function, ...) EP_LOG_AS(::ZYRA::LogLevel::INFO, function, __VA_ARGS__)
#define EP_LOGW_AS(function, ...) EP_LOG_AS(::ZYRA::LogLevel::WARN, function, __VA_ARGS__)
#define EP_LOGE_AS(function, ...) EP_LOG_AS(::ZYRA::LogLevel::ERROR, function, __VA_ARGS__)

#define EP_LOGD(...) EP_LOGD_AS(__func__, __VA_ARGS__)
#define EP_LOGI(...) EP_LOGI_AS(__func__, __VA_ARGS__)
#define EP_LOGW(...) EP_LOGW_AS(__func__, __VA_ARGS__)
#define EP_LOGE(...) EP_LOGE_AS(__func__, __VA_ARGS__)
