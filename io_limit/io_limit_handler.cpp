#include "io_limit/io_limit_handler.h"

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

// The payload's uid, when it is made of digits. A number that does not fit is that of user 0.
bool ReadUid(const nlohmann::json& payload, int32_t& uid) {
    std::string text;
    if (!ReadPayload(payload, {{UID_KEY, text}}) || !CommonUtil::IsNumericString(text)) {
        return false;
    }
    uid = CommonUtil::StringToInt32(text);
    return true;
}

}  // namespace

IolimitHandler& IolimitHandler::GetInstance() {
    static IolimitHandler instance;
    return instance;
}

// The helper is to outlive the handler, whose tasks use it.
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
    std::string uid;
    std::string bundleName;
    if (!ReadPayload(payload, {{UID_KEY, uid}, {BUNDLE_NAME_KEY, bundleName}})) {
        IOSCHED_LOGE("para error.");
        return;
    }
    CheckIsRemoveAndSystem(CommonUtil::StringToInt32(uid), bundleName);
}

void IolimitHandler::HandleAppStart(const nlohmann::json& payload) {
    if (!isInited_) {
        return;
    }
    std::string uid;
    std::string bundleName;
    if (!ReadPayload(payload, {{UID_KEY, uid}, {BUNDLE_NAME_KEY, bundleName}})) {
        IOSCHED_LOGE("para error.");
        return;
    }
    AppStartLimitRules(bundleName, uid);
}

// No application starts, so that none counts as the foreground.
void IolimitHandler::HandleSlideStart() {
    if (!isInited_) {
        return;
    }
    GetAppInfo("");
    UnLimitForegroundPid();
    LimitBackgroundPid();
    SwitchLimitsOn();
}

void IolimitHandler::HandleSlideEnd() {
    if (!isInited_) {
        return;
    }
    AppStartEffectTime(SLIDE_END_DELAY_MS);
}

void IolimitHandler::HandleWhitelistInsert(const nlohmann::json& payload, WhitelistKind kind) {
    if (!isInited_) {
        return;
    }
    int32_t uid = 0;
    if (!ReadUid(payload, uid)) {
        IOSCHED_LOGE("para error.");
        return;
    }
    whitelist_[uid] |= BitOf(kind);
}

void IolimitHandler::HandleWhitelistErase(const nlohmann::json& payload, WhitelistKind kind) {
    if (!isInited_) {
        return;
    }
    int32_t uid = 0;
    if (!ReadUid(payload, uid)) {
        IOSCHED_LOGE("para error.");
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
    std::string typeId;
    std::string uid;
    if (!ReadPayload(payload, {{TYPE_ID_KEY, typeId}, {UID_KEY, uid}})) {
        IOSCHED_LOGE("para error.");
        return;
    }
    IOSCHED_LOGI("HandleContinuousBegin uid %{public}s, type %{public}s.", uid.c_str(), typeId.c_str());
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
    std::string typeId;
    std::string uid;
    if (!ReadPayload(payload, {{TYPE_ID_KEY, typeId}, {UID_KEY, uid}})) {
        IOSCHED_LOGE("para error.");
        return;
    }
    IOSCHED_LOGI("HandleContinuousEnd uid %{public}s, type %{public}s.", uid.c_str(), typeId.c_str());
    if (IsUpDownEvent(payload)) {
        ListErase(payload, heavyIoUids_);
    } else {
        HandleWhitelistErase(payload, WhitelistKind::CONTINUOUS_TASK);
    }
}

bool IolimitHandler::IsUpDownEvent(const nlohmann::json& payload) {
    std::string typeId;
    if (!ReadPayload(payload, {{TYPE_ID_KEY, typeId}})) {
        IOSCHED_LOGE("para error.");
        return false;
    }
    return typeId == UPLOAD_DOWNLOAD_TYPE_ID;
}

void IolimitHandler::ListInsert(const nlohmann::json& payload, std::set<int32_t>& uids) {
    int32_t uid = 0;
    if (!ReadUid(payload, uid)) {
        IOSCHED_LOGE("para error.");
        return;
    }
    uids.insert(uid);
}

void IolimitHandler::ListErase(const nlohmann::json& payload, std::set<int32_t>& uids) {
    int32_t uid = 0;
    if (!ReadUid(payload, uid)) {
        IOSCHED_LOGE("para error.");
        return;
    }
    uids.erase(uid);
}

}  // namespace ZYRA::ResourceSchedule
