// SPDX-License-Identifier: Apache-2.0
#include "io_limit/io_limit_handler.h"

#include <optional>
#include <string>

#include "frame/common/common_util.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/common/io_sched_log.h"
#include "frame/common/payload_reader.h"
#include "io_limit/io_limit_bundle_manager_helper.h"
#include "io_limit/io_limit_paths.h"

namespace ZYRA::ResourceSchedule {

namespace {

constexpr char UID_KEY[] = "uid";
constexpr char BUNDLE_NAME_KEY[] = "bundleName";
constexpr char TYPE_ID_KEY[] = "typeId";
constexpr char UPLOAD_DOWNLOAD_TYPE_ID[] = "1";

// Bytes a second: 3 * 1024 * 1024.
constexpr char BANDWIDTH_LIMIT[] = "3145728";

constexpr int64_t SLIDE_END_DELAY_MS = 500;

constexpr uint32_t BitOf(WhitelistKind kind) {
    return 1U << static_cast<uint32_t>(kind);
}

// Reads texts of a payload. What lacks one is logged under the operation's name.
template <size_t COUNT>
std::optional<PayloadTexts<COUNT>> ReadTexts(const char* operation, const nlohmann::json& payload,
                                             const char* const (&keys)[COUNT]) {
    const auto texts = ReadPayload(payload, keys);
    if (!texts) {
        IOSCHED_LOGE_AS(operation, "para error.");
    }
    return texts;
}

// Reads the uid of a payload, which must be made of digits. A number that does not fit is that of uid 0.
bool ReadUid(const char* operation, const nlohmann::json& payload, int32_t& uid) {
    const auto texts = ReadPayload(payload, {UID_KEY});
    if (!texts || !CommonUtil::IsNumericString(*texts->front())) {
        IOSCHED_LOGE_AS(operation, "para error.");
        return false;
    }
    uid = CommonUtil::StringToInt32(*texts->front());
    return true;
}

}  // namespace

IolimitHandler& IolimitHandler::GetInstance() {
    static IolimitHandler instance;
    return instance;
}

// The helper is to outlive the handler, which uses it.
IolimitHandler::IolimitHandler() {
    IoLimitBundleManagerHelper::GetInstance();
}

void IolimitHandler::Init() {
    auto callback = IOSchedEventUtil::GetInstance().GetIOSchedEventCallback();
    {
        MutexLock lock(mutex_);
        callback_.swap(callback);
    }
    for (const char* file : {IOCONTROL_READ_LIMIT, IOCONTROL_WRITE_LIMIT, HEAVYIO_READ_LIMIT, HEAVYIO_WRITE_LIMIT}) {
        SendWriteCmd(file, BANDWIDTH_LIMIT);
    }
    isInited_ = true;
    InitSystemAppList();
}

void IolimitHandler::Deinit() {
    isInited_ = false;
}

std::shared_ptr<IOSchedEventCallback> IolimitHandler::Callback() {
    MutexLock lock(mutex_);
    return callback_;
}

void IolimitHandler::HandleProcessStart(const nlohmann::json& payload) {
    if (!isInited_) {
        return;
    }
    if (const auto texts = ReadTexts(__func__, payload, {UID_KEY, BUNDLE_NAME_KEY})) {
        const auto [uid, bundleName] = *texts;
        CheckIsRemoveAndSystem(CommonUtil::StringToInt32(*uid), *bundleName);
    }
}

void IolimitHandler::HandleAppStart(const nlohmann::json& payload) {
    if (!isInited_) {
        return;
    }
    if (const auto texts = ReadTexts(__func__, payload, {UID_KEY, BUNDLE_NAME_KEY})) {
        const auto [uid, bundleName] = *texts;
        AppStartLimitRules(*bundleName, *uid);
    }
}

// No application starts, so that none counts as the foreground.
void IolimitHandler::HandleSlideStart() {
    if (isInited_) {
        GetAppInfo("");
        UnLimitForegroundPid();
        LimitBackgroundPid();
        SwitchLimitsOn();
    }
}

void IolimitHandler::HandleSlideEnd() {
    if (isInited_) {
        AppStartEffectTime(SLIDE_END_DELAY_MS);
    }
}

void IolimitHandler::HandleWhitelistInsert(const nlohmann::json& payload, WhitelistKind kind) {
    int32_t uid = 0;
    if (isInited_ && ReadUid(__func__, payload, uid)) {
        whitelist_[uid] |= BitOf(kind);
    }
}

void IolimitHandler::HandleWhitelistErase(const nlohmann::json& payload, WhitelistKind kind) {
    int32_t uid = 0;
    if (!isInited_ || !ReadUid(__func__, payload, uid)) {
        return;
    }
    const auto entry = whitelist_.find(uid);
    if (entry == whitelist_.end()) {
        return;
    }
    entry->second &= ~BitOf(kind);
    if (entry->second == 0) {
        whitelist_.erase(entry);
    }
}

void IolimitHandler::HandleContinuousBegin(const nlohmann::json& payload) {
    if (!isInited_) {
        return;
    }
    const auto texts = ReadTexts(__func__, payload, {TYPE_ID_KEY, UID_KEY});
    if (!texts) {
        return;
    }
    const auto [typeId, uid] = *texts;
    IOSCHED_LOGI("HandleContinuousBegin uid %{public}s, type %{public}s.", uid->c_str(), typeId->c_str());
    if (IsUpDownEvent(payload)) {
        ListInsert(payload, heavyIoUids_);
    } else {
        HandleWhitelistInsert(payload, WhitelistKind::CONTINUOUS_TASK);
    }
}

void IolimitHandler::HandleContinuousEnd(const nlohmann::json& payload) {
    if (!isInited_) {
        return;
    }
    const auto texts = ReadTexts(__func__, payload, {TYPE_ID_KEY, UID_KEY});
    if (!texts) {
        return;
    }
    const auto [typeId, uid] = *texts;
    IOSCHED_LOGI("HandleContinuousEnd uid %{public}s, type %{public}s.", uid->c_str(), typeId->c_str());
    if (IsUpDownEvent(payload)) {
        ListErase(payload, heavyIoUids_);
    } else {
        HandleWhitelistErase(payload, WhitelistKind::CONTINUOUS_TASK);
    }
}

bool IolimitHandler::IsUpDownEvent(const nlohmann::json& payload) {
    const auto texts = ReadTexts(__func__, payload, {TYPE_ID_KEY});
    return texts && *texts->front() == UPLOAD_DOWNLOAD_TYPE_ID;
}

void IolimitHandler::ListInsert(const nlohmann::json& payload, std::set<int32_t>& uids) {
    int32_t uid = 0;
    if (ReadUid(__func__, payload, uid)) {
        uids.insert(uid);
    }
}

void IolimitHandler::ListErase(const nlohmann::json& payload, std::set<int32_t>& uids) {
    int32_t uid = 0;
    if (ReadUid(__func__, payload, uid)) {
        uids.erase(uid);
    }
}

}  // namespace ZYRA::ResourceSchedule
