// SPDX-License-Identifier: Apache-2.0
// Names that try to lead out of the record directory, and links laid in it: whatever is asked for, nothing outside is
// made, changed or removed.

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <tuple>

#include "frame/common/io_sched_event_callback.h"
#include "frame/common/io_sched_event_util.h"
#include "frame/resource_type.h"
#include "host/services/power_service.h"
#include "tests/support/plugin_on_device_test.h"

namespace ZYRA::ResourceSchedule {
namespace {

namespace fs = std::filesystem;

const fs::path DATABASE_FOLDER = "/data/service/el1/public/ressched";
const fs::path RECORDS = DATABASE_FOLDER / "workingset";
const fs::path OUTSIDE = "/data/outside";

const std::string NAMES[] = {"",
                             " ",
                             "two words",
                             " leading",
                             "line\nend",
                             "a\nRecordState:uptodate\nName: x",
                             ".",
                             "..",
                             "../x",
                             "../../../../../../data/outside/kept",
                             "/data/outside/kept",
                             "com.example.mail/../../x",
                             std::string(4096, 'x'),
                             std::string(2000, '/'),
                             "caf\xc3\xa9\xe2\x82\xac",
                             "\xff\xfe",
                             std::string("zero\0byte", 9),
                             std::string("..\0", 3),
                             std::string("..\0/..\0/top_scene.db", 20),
                             "%s%n"};

class BadNamesTest : public PluginOnDeviceTest {
protected:
    void SetUp() override {
        PluginOnDeviceTest::SetUp();
        fs::create_directories(OUTSIDE / "folder");
        std::ofstream(OUTSIDE / "kept") << "kept";
        Start();
        // The database is there from now on.
        before_ = Tree();
    }

    // What stands in the device's root and below /data, but for the record directory; of the database only that it is
    // there.
    using Entry = std::tuple<ino_t, mode_t, off_t, time_t, long>;
    static std::map<std::string, Entry> Tree() {
        std::map<std::string, Entry> tree;
        const auto add = [&tree](const fs::path& path) {
            struct stat status {};
            lstat(path.c_str(), &status);
            const bool isCompared = S_ISREG(status.st_mode) && path.filename() != "top_scene.db";
            tree[path] = {status.st_ino, status.st_mode, isCompared ? status.st_size : 0,
                          isCompared ? status.st_mtim.tv_sec : 0, isCompared ? status.st_mtim.tv_nsec : 0};
        };
        for (const auto& entry : fs::directory_iterator("/")) {
            add(entry.path());
        }
        for (auto entry = fs::recursive_directory_iterator("/data"); entry != fs::end(entry); ++entry) {
            if (entry->path() == RECORDS) {
                entry.disable_recursion_pending();
            }
            add(entry->path());
        }
        return tree;
    }

    // A start, a page of it, their time-outs, and what stores.
    void Live(const std::string& bundle, const std::string& page) {
        const nlohmann::json payload = {
            {"bundleName", bundle}, {"uid", "1000"}, {"pid", "42"}, {"clientPid", "42"}, {"pageUrl", page}};
        Send(RES_TYPE_ABILITY_START, 1, payload);
        Send(RES_TYPE_PROCESS_START, 0, payload);
        Send(RES_TYPE_PUSH_PAGE, 0, payload);
        Send(RES_TYPE_PUSH_PAGE, 1, payload);
        RunFor(20000);
        Send(RES_TYPE_USER_INPUT, 1, {});
        Send(RES_TYPE_PUSH_PAGE, 0, payload);
        Send(RES_TYPE_PUSH_PAGE, 1, payload);
        RunFor(20000);
        Send(RES_TYPE_SCREEN, 0, {});
        Host::PowerService::GetInstance().Shutdown();
        RunFor(1000);
    }
    void Uninstall(const std::string& bundle) {
        Send(RES_TYPE_BUNDLE_ACTION, 0, {{"bundleName", bundle}});
        RunFor(1000);
    }
    void Forget(const std::string& scene) {
        IOSchedEventUtil::GetInstance().GetIOSchedEventCallback()->OnTopSceneDecay(
            std::make_shared<std::vector<std::string>>(std::vector<std::string>{scene}));
    }

    std::map<std::string, Entry> before_;
};

TEST_F(BadNamesTest, NoNameLeadsOut) {
    for (const std::string& name : NAMES) {
        // The services' names come as text, so bytes that are none cannot be in them.
        if (name != "\xff\xfe") {
            device_->Apply({{"topAbility", name}});
        }
        Live(name, "pages/Index");
        Live("com.example.mail", name);
        Live("com.example." + name, name);
        device_->Apply({{"topAbility", ""}});
        Live("com.example.mail", name);
        for (const std::string& scene : {name, name + "/" + name, "com.example.mail/" + name, "../" + name}) {
            Forget(scene);
        }
        for (const std::string& bundle : {name, "com.example." + name}) {
            Uninstall(bundle);
        }
        ASSERT_EQ(Tree(), before_) << nlohmann::json(name).dump(-1, ' ', false,
                                                                nlohmann::json::error_handler_t::replace);
    }
    EXPECT_TRUE(fs::exists(RECORDS / "com.example.mail")) << "no record was ever made";
    Uninstall("com.example.mail");
    EXPECT_FALSE(fs::exists(RECORDS / "com.example.mail"));
}

// In the place of an application's folder, of its records, and of the folder of one that is not there, stand links.
TEST_F(BadNamesTest, NoLinkIsFollowedOut) {
    std::ofstream(OUTSIDE / "com.example.mail") << "kept";
    fs::create_directories(RECORDS / "com.example.maps");
    fs::create_directory_symlink(OUTSIDE, RECORDS / "com.example.mail");
    fs::create_symlink(OUTSIDE / "kept", RECORDS / "com.example.maps/com.example.maps");
    fs::create_symlink(OUTSIDE / "new", RECORDS / "com.example.maps/EntryAbility.pages.Index");
    fs::create_directory_symlink(OUTSIDE / "missing", RECORDS / "com.example.news");
    before_ = Tree();
    for (const std::string bundle : {"com.example.mail", "com.example.maps", "com.example.news"}) {
        device_->Apply({{"scenes", {{bundle + "/" + bundle, {{"record", "older"}}}}}});
        Live(bundle, "pages/Index");
        for (const char* name : {"/kept", "/folder", "/com.example.mail", "/../outside"}) {
            Forget(bundle + name);
        }
        Uninstall(bundle);
        EXPECT_EQ(Tree(), before_) << bundle;
    }
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
