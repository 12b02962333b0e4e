// Which pages of real files a real process touches, how they are recorded, and what is preread of them. The disks'
// read-ahead is changed meanwhile.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <set>
#include <sstream>

#include "host/pages/linux_pages.h"
#include "host/pages/page_cache.h"
#include "host/pages/page_record_file.h"
#include "host/pages/preread_job.h"
#include "host/pages/preread_plan.h"
#include "host/pages/record_builder.h"
#include "host/pages/record_check.h"
#include "host/pages/tracepoint.h"
#include "platform/file_util.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

const std::string RECORD = std::string(RECORD_DIRECTORY) + "mail";

// Files are named by a letter; the fixture's child touches their pages.
class PagesTest : public ::testing::Test {
protected:
    PagesTest() {
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends_), 0);
        scene_.pid = fork();
        scene_.pid == 0 ? Obey() : void(close(ends_[1]));
        guardian_ = Guardian::Start(text_);
        fs::create_directories(dir_), fs::create_directories(RECORD_DIRECTORY);
        std::ofstream(RECORD).flush();
    }
    void SetUp() override {
        if (geteuid() != 0 || !PageEventSupport(FindTracefs()).HasDemands()) {
            GTEST_SKIP() << "needs root and the tracepoints of the page cache";
        }
    }
    ~PagesTest() override {
        EXPECT_EQ(guardian_->Finish(), "");
        close(ends_[0]), waitpid(scene_.pid, nullptr, 0), fs::remove_all(dir_);
    }

    // The child: "a 3 5" is to touch pages 3 and 5 of the file a; a + before it has a child of its own do it, and with
    // a ~ nothing is read around them.
    [[noreturn]] void Obey() {
        close(ends_[0]);
        char order[1024];
        for (ssize_t size = 0; (size = read(ends_[1], order, sizeof(order))) > 0;) {
            std::string text(order, static_cast<size_t>(size));
            const pid_t child = text[0] == '+' ? fork() : -1;
            child > 0 ? void(waitpid(child, nullptr, 0)) : Obey(text.substr(text.find_first_not_of('+')));
            child == 0 ? _exit(0) : void(write(ends_[1], "", 1) == 1);
        }
        _exit(0);
    }
    void Obey(std::string text) const {
        const bool isAlone = text[0] == '~';
        std::istringstream words(text.substr(isAlone ? 1 : 0));
        words >> text;
        const int file = open((dir_ + text).c_str(), O_RDONLY | O_CLOEXEC);
        const size_t bytes = fs::file_size(dir_ + text);
        auto* const memory = static_cast<volatile char*>(mmap(nullptr, bytes, PROT_READ, MAP_SHARED, file, 0));
        madvise(const_cast<char*>(memory), bytes, isAlone ? MADV_RANDOM : MADV_NORMAL);
        for (size_t page = 0; words >> page;) {
            [[maybe_unused]] const char byte = memory[page * BYTES_PER_PAGE];
        }
        munmap(const_cast<char*>(memory), bytes), close(file);
    }
    void Touch(const std::string& order) {
        EXPECT_TRUE(write(ends_[0], order.data(), order.size()) > 0 && read(ends_[0], &text_[0], 1) == 1);
    }

    // A file on the disk with nothing of it in memory, whose time of change does not tell files apart.
    std::string Make(const std::string& name, uint64_t pages) const {
        std::ofstream(dir_ + name) << std::string(pages * BYTES_PER_PAGE, 'x');
        fs::last_write_time(dir_ + name, {});
        return Cool(name);
    }
    std::string Cool(const std::string& name) const {
        const UniqueFd file(open((dir_ + name).c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(fsync(file.Get()) + posix_fadvise(file.Get(), 0, 0, POSIX_FADV_DONTNEED), 0);
        return dir_ + name;
    }
    // Which pages of the file are in memory, or on their way there.
    std::string Resident(const std::string& name) const {
        const UniqueFd file(open((dir_ + name).c_str(), O_RDONLY | O_CLOEXEC));
        std::string pages;
        for (uint64_t page = 0; page < fs::file_size(dir_ + name) / BYTES_PER_PAGE; ++page) {
            pages += IsResident(file.Get(), {page, 1}) ? " " + std::to_string(page) : "";
        }
        return pages;
    }

    std::unique_ptr<LinuxPages> Pages(CollectionMode mode = CollectionMode::EXACT) {
        return std::make_unique<LinuxPages>(LinuxPages::Machine{*view_, finder_, *guardian_, disks_}, mode);
    }
    // The pages of the test's files that are recorded, in their order.
    std::string Recorded(LinuxPages& pages) const {
        const auto record = pages.RecordOf(scene_.scene);
        std::string text;
        for (const auto& [file, range] : record == nullptr ? std::vector<RecordedRange>() : record->ranges) {
            if (const std::string& path = record->files[file].path; path.starts_with(dir_)) {
                text += path.substr(dir_.size()) + std::to_string(range.first);
                text += (range.count == 1 ? "" : "-" + std::to_string(range.first + range.count - 1)) + " ";
            }
        }
        return text;
    }
    // A whole start that is collected.
    std::string Collect(LinuxPages& pages, const std::vector<std::string>& orders) {
        pages.Begin(0, scene_), pages.Attach(0, scene_.pid);
        std::for_each(orders.begin(), orders.end(), [this](const std::string& order) { Touch(order); });
        EXPECT_EQ(pages.Keep(0).fileError, 0);
        pages.EndWork(0, true);
        return Recorded(pages);
    }
    PrereadResult Preread(LinuxPages& pages) {
        std::promise<PrereadResult> result;
        pages.Preread(scene_, [&](const PrereadResult& one) { result.set_value(one); });
        return result.get_future().get();
    }
    // The read-ahead of the disks, one after the other.
    std::string ReadAheads() const {
        std::string all;
        for (const BlockDevice& disk : disks_) {
            std::string one;
            all += LoadStringFromFile(ReadAheadFile(disk), one) ? one : "-";
        }
        return all;
    }

    const std::string dir_ = "/var/tmp/pages-" + std::to_string(getpid()) + "/";
    std::string text_ = " ";
    int ends_[2] = {-1, -1};
    SceneLine scene_ = {1, 0, "mail", RECORD};
    const std::optional<MachineView> view_ = MachineView::Capture(text_);
    const FileFinder finder_;
    const std::vector<BlockDevice> disks_ = MountedDisks();
    std::unique_ptr<Guardian> guardian_;
};

TEST_F(PagesTest, JustWhatProcessesTouchIsRecordedInItsOrder) {
    Make("a", 64), Make("b", 64);
    const auto pages = Pages();
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::ABSENT);
    EXPECT_EQ(Collect(*pages, {"a 40 5 6 20", "+b 7", "a 5 21 3"}), "a40 a5-6 a20 b7 a21 a3 ");
    EXPECT_EQ(Resident("a") + Resident("b"), " 3 5 6 20 21 40 7");
    // (a) The file holds it; (b) it stays when nothing is touched, and when what was touched does not count.
    EXPECT_EQ(LoadPageRecord(RECORD, text_), *pages->RecordOf("mail"));
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::UPTODATE);
    pages->Begin(0, scene_), pages->Attach(0, scene_.pid);
    Touch("a 60"), pages->ClearYoung(scene_.pid), pages->Detach(0, scene_.pid), Touch("b 60");
    EXPECT_EQ(pages->Keep(0).pages, 0U);
    // (c) What was there before is around what is demanded.
    EXPECT_EQ(Collect(*pages, {"a 5"}), "a3 a5-6 ");
}

TEST_F(PagesTest, PassiveRecordsChangeNoSettingAndTakeWhatIsAround) {
    const std::string before = ReadAheads();
    Make("a", 64);
    Touch("~a 8 9 12");
    const auto pages = Pages(CollectionMode::PASSIVE);
    pages->Begin(0, scene_), pages->Attach(0, scene_.pid);
    EXPECT_EQ(ReadAheads(), before);
    Touch("a 9"), Touch("~a 40"), pages->Keep(0);
    EXPECT_EQ(Recorded(*pages), "a8-9 a12 a40 ");
}

TEST_F(PagesTest, ReadAheadIsBackWhateverEndsACollection) {
    const std::string before = ReadAheads();
    const SceneLine other = {1, 0, "maps", RECORD};
    const std::function<void(LinuxPages&)> ends[] = {
        [](LinuxPages& pages) { pages.Keep(0); },
        [](LinuxPages& pages) { pages.Drop(0); },
        [](LinuxPages& pages) { pages.EndWork(0, false); },
        [&](LinuxPages& pages) { pages.Bind(0, other); },
        [&](LinuxPages& pages) { pages.Begin(0, scene_), pages.Begin(1, other), pages.Drop(0), pages.Drop(1); },
    };
    auto pages = Pages();
    for (const auto& end : ends) {
        pages->Begin(0, scene_);
        EXPECT_EQ(ReadAheads().find_first_not_of("0\n"), std::string::npos) << ReadAheads();
        end(*pages);
        EXPECT_EQ(ReadAheads(), before);
    }
    pages->Begin(0, scene_), pages->Begin(1, other), pages->Drop(0);
    EXPECT_NE(ReadAheads(), before);
    pages.reset();
    EXPECT_EQ(ReadAheads(), before);
}

// Of a record of two files one is changed in each way: it is not read, the other is, and the next record is right.
TEST_F(PagesTest, ChangedFilesAreNotPrereadAndAreCollectedAgain) {
    const std::string file = dir_ + "b";
    const std::tuple<std::function<void()>, const char*> rows[] = {
        {[] {}, " 7"},
        {[&] { Make("c", 64), fs::rename(dir_ + "c", file); }, ""},
        {[&] { Make("b", 65); }, ""},
        {[&] { fs::last_write_time(file, fs::file_time_type::clock::now()); }, ""},
        {[&] { fs::rename(file, dir_ + "c"), fs::create_symlink("c", file); }, ""},
        {[&] { fs::remove(file), Make("c", 64), fs::create_directory(file); }, ""},
    };
    for (const auto& [change, isRead] : rows) {
        const auto row = &change - &std::get<0>(rows[0]);
        fs::remove_all(dir_), fs::create_directories(dir_);
        Make("a", 64), Make("b", 64);
        EXPECT_EQ(Collect(*Pages(), {"a 50 5", "b 7"}), "a50 a5 b7 ");
        change();
        Cool("a"), Cool("b");
        const auto pages = Pages();
        const RecordState state = pages->Bind(0, scene_);
        EXPECT_EQ(state, *isRead == '\0' ? RecordState::OLDER : RecordState::UPTODATE) << row;
        const PrereadResult result = Preread(*pages);
        EXPECT_EQ(result.failure, "");
        EXPECT_EQ(result.bytes, (*isRead == '\0' ? 2 : 3) * BYTES_PER_PAGE) << row;
        EXPECT_EQ(Resident("a"), " 5 50") << row;
        EXPECT_EQ(fs::is_directory(file) ? "" : Resident("b"), isRead) << row;
        // What is there is not asked for again.
        EXPECT_EQ(Preread(*pages).bytes, 0U);
        EXPECT_TRUE(fs::is_directory(file) || Collect(*pages, {"b 9"}).ends_with("9 ")) << row;
    }
}
}  // namespace
}  // namespace ZYRA::Host
