// SPDX-License-Identifier: Apache-2.0
// Which pages of real files a real process touches, how they are recorded, and what is preread of them. The disks'
// read-ahead is changed meanwhile.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <sstream>

#include "host/machine/block_devices.h"
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

constexpr size_t WINDOW = 16 * BYTES_PER_PAGE;
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
        // Where the kernel maps what is around a page, it goes by the address: windows begin at those of the file.
        void* const space = mmap(nullptr, bytes + WINDOW, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        void* const begin = static_cast<char*>(space) + (WINDOW - reinterpret_cast<uintptr_t>(space) % WINDOW);
        auto* const memory =
            static_cast<volatile char*>(mmap(begin, bytes, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0));
        madvise(begin, bytes, isAlone ? MADV_RANDOM : MADV_NORMAL);
        for (size_t page = 0; words >> page;) {
            [[maybe_unused]] const char byte = memory[page * BYTES_PER_PAGE];
        }
        munmap(space, bytes + WINDOW), close(file);
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
            pages += CountResident(file.Get(), {page, 1}) == 1 ? " " + std::to_string(page) : "";
        }
        return pages;
    }

    std::unique_ptr<LinuxPages> Pages(CollectionMode mode = CollectionMode::EXACT,
                                      const PageEventSupport& events = PageEventSupport(FindTracefs())) {
        return std::make_unique<LinuxPages>(LinuxPages::Machine{*view_, finder_, *guardian_, readAheadFiles_, events},
                                            mode);
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
    // Leaves in the record file only what the test knows of: pages of the child's program may be dropped meanwhile.
    PageRecord KeepOwnRanges() {
        PageRecord record = LoadPageRecord(RECORD, text_).value();
        std::erase_if(record.ranges,
                      [&](const RecordedRange& one) { return !record.files[one.file].path.starts_with(dir_); });
        EXPECT_EQ(SavePageRecord(RECORD, record), 0);
        return record;
    }
    PrereadResult Preread(LinuxPages& pages) {
        std::promise<PrereadResult> result;
        pages.Preread(scene_, [&](const PrereadResult& one) { result.set_value(one); });
        return result.get_future().get();
    }
    // The read-ahead of what is mounted, one after the other.
    std::string ReadAheads() const {
        std::string all;
        for (const std::string& file : readAheadFiles_) {
            std::string one;
            all += LoadStringFromFile(file, one) ? one : "-";
        }
        return all;
    }

    const std::string dir_ = "/var/tmp/pages-" + std::to_string(getpid()) + "/";
    std::string text_ = " ";
    int ends_[2] = {-1, -1};
    SceneLine scene_ = {1, 0, "mail", RECORD};
    const std::optional<MachineView> view_ = MachineView::Capture(text_);
    const FileFinder finder_;
    const std::vector<std::string> readAheadFiles_ = MountedReadAheadFiles();
    std::unique_ptr<Guardian> guardian_;
};

TEST_F(PagesTest, JustWhatProcessesTouchIsRecordedInItsOrder) {
    Make("a", 128), Make("b", 64);
    const auto pages = Pages();
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::ABSENT);
    EXPECT_EQ(Collect(*pages, {"a 100 5 31 32", "+b 7", "a 5 70 50"}), "a100 a5 a31-32 b7 a70 a50 ");
    EXPECT_EQ(Resident("a") + Resident("b"), " 5 31 32 50 70 100 7");
    // (a) The file holds it; (b) it stays when nothing is touched, and when what was touched does not count.
    EXPECT_EQ(LoadPageRecord(RECORD, text_), *pages->RecordOf("mail"));
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::UPTODATE);
    pages->Begin(0, scene_), pages->Attach(0, scene_.pid);
    Touch("a 60"), pages->ClearYoung(scene_.pid), pages->Detach(0, scene_.pid), Touch("b 60");
    EXPECT_EQ(pages->Keep(0).pages, 0U);
    // (c) What was there before counts where it is around what is demanded.
    EXPECT_EQ(Collect(*pages, {"a 50 90"}), "a50 a60 a90 ");
    EXPECT_EQ(Collect(*pages, {"a 97"}), "a97 a100 ");
}

TEST_F(PagesTest, PassiveRecordsChangeNoSettingAndTakeWhatIsAround) {
    const std::string before = ReadAheads();
    Make("a", 64);
    Touch("~a 8 9 12");
    const auto pages = Pages(CollectionMode::PASSIVE);
    pages->Begin(0, scene_), pages->Attach(0, scene_.pid);
    EXPECT_EQ(ReadAheads(), before);
    Touch("a 9"), pages->Keep(0);
    EXPECT_EQ(Recorded(*pages), "a0-15 ");
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
        {[&] { fs::last_write_time(file, fs::file_time_type(std::chrono::seconds(1))); }, ""},
        {[&] { fs::rename(file, dir_ + "c"), fs::create_symlink("c", file); }, ""},
        {[&] { fs::remove(file), Make("c", 64), fs::create_directory(file); }, ""},
    };
    for (const auto& [change, isRead] : rows) {
        const auto row = &change - &std::get<0>(rows[0]);
        fs::remove_all(dir_), fs::create_directories(dir_);
        Make("a", 64), Make("b", 64);
        EXPECT_EQ(Collect(*Pages(), {"a 50 5", "b 7"}), "a50 a5 b7 ");
        EXPECT_EQ(KeepOwnRanges().Pages(), 3U);
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

// A damaged record is none, and is told; with memory short nothing is read of a sound one, or no more.
TEST_F(PagesTest, NothingIsReadFromADamagedRecordOrWithoutMemory) {
    Make("a", 64);
    EXPECT_EQ(Collect(*Pages(), {"a 5"}), "a5 ");
    Cool("a");
    const auto record = std::make_shared<const PageRecord>(KeepOwnRanges());
    const OpenedRecord opened(record, *view_);
    const auto read = [&](const std::string& meminfo) {
        std::ofstream(dir_ + "meminfo") << meminfo;
        const PrereadResult result = ReadRecordedPages(opened, *view_, dir_ + "meminfo");
        return result.failure + ":" + std::to_string(result.bytes / BYTES_PER_PAGE) + Resident("a");
    };
    EXPECT_EQ(read("MemTotal: 1000 kB\nMemAvailable: 49 kB\n"), std::string(PrereadResult::NO_PAGE) + ":0");
    EXPECT_EQ(read("MemTotal: 1000 kB\nMemAvailable: 50 kB\n"), ":1 5");
    // When half of what there was has been read, no more is: most of these pages are left.
    PageRecord large = *record;
    Make("b", 3000), large.files.resize(1);
    struct stat status {};
    ASSERT_EQ(stat((dir_ + "b").c_str(), &status), 0);
    large.files[0] = {FileKind::REGULAR, IdentityOf(status), dir_ + "b"}, large.ranges.clear();
    for (uint64_t page = 0; page < 3000; page += 5) {
        large.ranges.push_back({0, {page, 1}});
    }
    const PrereadResult some =
        ReadRecordedPages(OpenedRecord(std::make_shared<const PageRecord>(large), *view_), *view_, dir_ + "meminfo");
    EXPECT_EQ(some.failure, PrereadResult::NO_PAGE);
    EXPECT_TRUE(some.bytes > 50 * 1024 && some.bytes < 500 * BYTES_PER_PAGE) << some.bytes;
    Cool("a");
    std::string text = EncodeRecord(*record);
    text.back() ^= 1;
    std::ofstream(RECORD) << text;
    const auto pages = Pages();
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::ABSENT);
    EXPECT_EQ(Preread(*pages).failure + Resident("a"), PrereadResult::NO_READ);
    ASSERT_EQ(pages->Notes().size(), 1U);
    EXPECT_EQ(pages->Notes()[0].find("record of mail counts as absent: "), 0U);
}

// Of 40 recorded pages, each in a window of its own, a start that was preread leaves some and touches others.
TEST_F(PagesTest, ARecordThatMissesMoreThanATwentiethBecomesOlder) {
    std::string all = "a";
    for (int page = 0; page < 40 * 16; page += 16) {
        all += " " + std::to_string(page);
    }
    Make("a", 700), Make("b", 64);
    std::tuple<const char*, bool, RecordState> rows[] = {{"~b 1 20", true, RecordState::UPTODATE},
                                                         {"~b 1 20 40", false, RecordState::UPTODATE},
                                                         {"~b 1 20 40", true, RecordState::OLDER}};
    Collect(*Pages(), {all});
    ASSERT_EQ(KeepOwnRanges().Pages(), 40U);
    for (const auto& [missed, isWhole, state] : rows) {
        Cool("a"), Cool("b");
        const auto pages = Pages();
        EXPECT_EQ(pages->Bind(0, scene_), RecordState::UPTODATE);
        EXPECT_EQ(Preread(*pages).bytes, 40 * BYTES_PER_PAGE);
        pages->Expect(scene_.pid);
        Touch("~a 0 16 32 48"), pages->Watch(0, scene_), Touch(missed), pages->EndWork(0, isWhole);
        const auto fit = pages->FitOf("mail").value_or(RecordFit{});
        EXPECT_EQ(fit.Missed(), isWhole ? (state == RecordState::OLDER ? 3U : 2U) : 0U);
        EXPECT_EQ(fit.neverTouched, isWhole ? 36U : 0U);
        EXPECT_EQ(pages->Bind(0, scene_), state);
        EXPECT_EQ(LoadPageRecord(RECORD, text_)->isOlder, state == RecordState::OLDER);
    }
    // Once it is collected anew it holds.
    const auto pages = Pages();
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::OLDER);
    Collect(*pages, {"a 1"});
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::UPTODATE);
}

// What a kernel lacks: (a) every tracepoint, (b) those of what is demanded. Either way the disks' read-ahead is off,
// and the record is right, also when it was older before and has been preread.
TEST_F(PagesTest, RecordsAreMadeOfWhatTheKernelTells) {
    const std::string few = dir_ + "tracefs";
    const std::string additions = "/events/filemap/mm_filemap_add_to_page_cache";
    fs::create_directories(few + "/events/filemap"), fs::create_symlink(FindTracefs() + additions, few + additions);
    for (const std::string& tracefs : {std::string(), few}) {
        Make("a", 128), Make("b", 64);
        const auto pages = Pages(CollectionMode::PASSIVE, PageEventSupport(tracefs));
        EXPECT_EQ(pages->Notes().size(), 1U);
        pages->Bind(0, scene_);
        EXPECT_EQ(Collect(*pages, {"a 40 3", "+b 7"}), tracefs.empty() ? "a3 a40 b7 " : "a40 a3 b7 ");
        Make("b", 65), Cool("a");
        EXPECT_EQ(pages->Bind(0, scene_), RecordState::OLDER);
        EXPECT_EQ(Preread(*pages).failure, "");
        EXPECT_EQ(Collect(*pages, {"b 9", "a 3 40"}), "b9 a3 a40 ");
        pages->ClearRecord("mail"), std::ofstream(RECORD).flush();
    }
}

// (a) While a recorded scene is bound the disks are turned down, but where no setting is to be changed; recording has
// them lower. (b) One that is gone is no failure, one that is low stays, and everything is as before in the end.
TEST_F(PagesTest, DisksAreTurnedDownAsFarAsIsWanted) {
    const std::string before = ReadAheads();
    Make("a", 64);
    auto pages = Pages();
    pages->Bind(0, scene_);
    EXPECT_EQ(ReadAheads(), before);
    Collect(*pages, {"a 5"});
    pages->Bind(0, scene_);
    for (const std::string& file : readAheadFiles_) {
        std::string text;
        EXPECT_TRUE(LoadStringFromFile(file, text) && std::stoi(text) <= 128);
    }
    pages->EndWork(0, true);
    EXPECT_EQ(ReadAheads(), before);
    pages = Pages(CollectionMode::PASSIVE);
    pages->Bind(0, scene_);
    EXPECT_EQ(ReadAheads(), before);
    const std::vector<std::string> files = {dir_ + "gone", dir_ + "low", dir_ + "high"};
    const auto levels = [&] {
        std::string text[2];
        LoadStringFromFile(files[1], text[0]), LoadStringFromFile(files[2], text[1]);
        return std::to_string(std::stoi(text[0])) + " " + std::to_string(std::stoi(text[1]));
    };
    std::ofstream(files[1]) << "64", std::ofstream(files[2]) << "4096";
    {
        ReadAhead readAhead(*guardian_, files);
        const auto turnDown = [&](ReadAheadLevel level) { return readAhead.TurnDown(level, text_) ? levels() : text_; };
        const auto turnBack = [&](ReadAheadLevel level) { return readAhead.TurnBack(level), levels(); };
        EXPECT_EQ(turnDown(ReadAheadLevel::USUAL), "64 128");
        EXPECT_EQ(turnDown(ReadAheadLevel::NONE), "0 0");
        EXPECT_EQ(turnDown(ReadAheadLevel::USUAL), "0 0");
        EXPECT_EQ(turnBack(ReadAheadLevel::NONE), "64 128");
        EXPECT_EQ(turnBack(ReadAheadLevel::USUAL), "64 128");
        EXPECT_EQ(turnBack(ReadAheadLevel::USUAL), "64 4096");
        EXPECT_EQ(turnDown(ReadAheadLevel::NONE), "0 0");
    }
    EXPECT_EQ(levels(), "64 4096");
}

// The clock of files is up to a tick behind: also what is written at once.
TEST_F(PagesTest, WhatAStartWritesIsNotRecorded) {
    const auto pages = Pages();
    for (const char* const orders : {"a 5", "a 6"}) {
        Make("a", 64), Make("b", 64);
        pages->Begin(0, scene_), pages->Attach(0, scene_.pid);
        EXPECT_EQ(utimensat(AT_FDCWD, (dir_ + "b").c_str(), nullptr, 0), 0);
        Touch("b 7"), Touch(orders);
        EXPECT_EQ(pages->Keep(0).fileError, 0);
        EXPECT_EQ(Recorded(*pages), std::string("a") + orders[2] + " ");
        pages->EndWork(0, true);
    }
}

// Nothing happens to what stands where something else was recorded: nobody who waits at a pipe is woken.
TEST_F(PagesTest, OnlyWhatWasRecordedIsOpened) {
    ASSERT_EQ(mkfifo((dir_ + "pipe").c_str(), 0600), 0);
    fs::create_directory(dir_ + "folder"), Make("file", 2);
    PageRecord record = {1, false, {}, {{0, {0, 1}}, {1, {0, 1}}}};
    const UniqueFd events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    for (const auto& [name, kind] : {std::pair("pipe", FileKind::REGULAR), std::pair("file", FileKind::REGULAR),
                                     std::pair("folder", FileKind::FOLDER)}) {
        struct stat status {};
        ASSERT_EQ(stat((dir_ + name).c_str(), &status), 0);
        const bool isFolder = kind == FileKind::FOLDER;
        record.files.push_back(
            {kind, {status.st_dev, status.st_ino + (isFolder ? 1 : 0), isFolder ? 0 : 8192, 0}, dir_ + name});
        ASSERT_GE(inotify_add_watch(events.Get(), (dir_ + name).c_str(), IN_OPEN), 0);
    }
    const auto wasOpened = [&] {
        char told[4096];
        return read(events.Get(), told, sizeof(told)) > 0;
    };
    ASSERT_EQ(SavePageRecord(RECORD, record), 0);
    const auto pages = Pages();
    EXPECT_EQ(pages->Bind(0, scene_), RecordState::OLDER);
    EXPECT_EQ(Preread(*pages).bytes, 0U);
    EXPECT_FALSE(wasOpened());
    // The folder that was recorded is read.
    record.files[2].identity.inode -= 1;
    ReadRecordedPages(OpenedRecord(std::make_shared<const PageRecord>(record), *view_), *view_);
    EXPECT_TRUE(wasOpened());
}

// (a) One that cannot be read makes it a failure; the others are read, and count. (b) All files of a record are
// compared, also where there is no room to have them open at once.
TEST_F(PagesTest, APartOfARecordIsReadAndAllOfItCompared) {
    for (char name = 'b'; name < 'k'; ++name) {
        Make(std::string(1, name), 2);
    }
    const auto pages = Pages();
    Collect(*pages, {"b 1", "c 1", "d 1", "e 1", "f 1", "g 1", "h 1", "i 1", "j 1"});
    const auto record = std::make_shared<const PageRecord>(KeepOwnRanges());
    const auto open = [&] { return std::make_unique<OpenedRecord>(record, *view_); };
    for (char name = 'b'; name < 'k'; ++name) {
        Cool(std::string(1, name));
    }
    auto opened = open();
    fs::resize_file(dir_ + "b", 0), fs::last_write_time(dir_ + "b", {});
    const PrereadResult result = ReadRecordedPages(*opened, *view_);
    EXPECT_EQ(result.failure, PrereadResult::NO_READ);
    EXPECT_EQ(result.bytes, 8 * BYTES_PER_PAGE);
    fs::resize_file(dir_ + "b", 2 * BYTES_PER_PAGE), fs::last_write_time(dir_ + "b", {});
    opened.reset();
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const UniqueFd next(dup(0));
    const rlimit low = {static_cast<rlim_t>(next.Get()) + 6, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    for (const RecordState state : {RecordState::UPTODATE, RecordState::OLDER}) {
        opened = open();
        EXPECT_EQ(opened->State(), state);
        EXPECT_FALSE(opened->HadRoom());
        opened.reset(), fs::last_write_time(dir_ + "j", fs::file_time_type(std::chrono::seconds(1)));
    }
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

// The finder was made in a chroot, which is a mount of its own and not the first one, before the sandbox.
TEST_F(PagesTest, FilesAreNamedFromTheRootOfWhoLooks) {
    Make("a", 1), fs::create_directory(dir_ + "proc");
    struct stat status {};
    ASSERT_EQ(stat((dir_ + "a").c_str(), &status), 0);
    const pid_t child = fork();
    if (child == 0) {
        const auto bind = [](const std::string& from, const std::string& to) {
            return mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0;
        };
        const bool isInside = unshare(CLONE_NEWNS) == 0 && mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                              bind(dir_, dir_) && bind("/proc", dir_ + "proc") && chroot(dir_.c_str()) == 0 &&
                              chdir("/") == 0;
        std::string error;
        // Keeps the mounts that the finder asks.
        const auto view = MachineView::Capture(error);
        const FileFinder finder;
        _exit(isInside && view && unshare(CLONE_NEWNS) == 0 && finder.PathOf(status.st_dev, status.st_ino, {}) == "/a"
                  ? 0
                  : 1);
    }
    int ended = -1;
    EXPECT_TRUE(waitpid(child, &ended, 0) == child && ended == 0);
}

// (a) Beyond the end there is nothing, and a folder has no pages; what is touched twice counts once. (b) What is only
// around counts if it is there, or altogether. (c) A file that is gone is lost, also when another stands at its path;
// one that was moved is not.
TEST_F(PagesTest, RecordsAreBuiltOfWhatIsKnownOfTouches) {
    CollectedPages collected;
    TouchedPages& touched = collected.touched;
    std::vector<MappedFile>& mapped = collected.mapped;
    const auto touch = [&](const std::string& name, PageEventKind kind, uint64_t first, uint64_t last) {
        struct stat status {};
        const bool isThere = lstat((dir_ + name).c_str(), &status) == 0;
        mapped.push_back({status.st_dev, isThere ? status.st_ino : 7, dir_ + name});
        touched.Note({0, kind, mapped.back().device, mapped.back().inode, first, last});
    };
    Make("a", 10), Make("b", 10);
    Touch("~b 4 5");
    touch("b", PageEventKind::MAPPED, 3, 12), touch("a", PageEventKind::READ, 8, 31);
    touch("a", PageEventKind::FAULTED, 9, 9), touch("a", PageEventKind::ADDED, 2, 3);
    touch("gone", PageEventKind::FAULTED, 0, 1), touch("", PageEventKind::LOADED, 0, 0);
    touch("b", PageEventKind::FAULTED, 7, 7), touch("b", PageEventKind::MAPPED, 20, 10);
    for (const bool aroundCounts : {false, true}) {
        const BuiltRecord built = BuildRecord(collected, aroundCounts, finder_, *view_);
        EXPECT_EQ(built.lostFiles, 1U);
        ASSERT_EQ(built.record.files.size(), 3U);
        EXPECT_EQ(built.record.files[0].path + built.record.files[1].path, dir_ + "b" + dir_ + "a");
        EXPECT_EQ(built.record.files[2].kind, FileKind::FOLDER);
        std::vector<RecordedRange> ranges = {{0, {4, 2}}, {1, {8, 2}}, {1, {2, 2}}, {0, {7, 1}}};
        if (aroundCounts) {
            ranges[0] = {0, {3, 7}}, ranges.pop_back();
        }
        EXPECT_EQ(built.record.ranges, ranges);
        const RecordFit fit = CompareRecord(built.record, collected, finder_, *view_);
        EXPECT_EQ(fit.neverTouched + fit.Missed(), 0U);
    }
    // Without a record all that is sure is missed, of files that are there.
    EXPECT_EQ(CompareRecord({}, collected, finder_, *view_).Missed(), 5U);
    // What is written meanwhile belongs to no record; a time that is yet to come tells nothing.
    fs::last_write_time(dir_ + "b", fs::file_time_type::clock::now());
    collected.begunNs = 0;
    EXPECT_EQ(BuildRecord(collected, true, finder_, *view_).record.Pages(), 4U);
    fs::rename(dir_ + "b", dir_ + "c"), fs::rename(Make("d", 10), dir_ + "a");
    EXPECT_EQ(BuildRecord(collected, true, finder_, *view_).lostFiles, 2U);
}

// What is read is the record's pages and the gaps of up to 3 between those of a stretch, in pieces of up to 256.
TEST(PrereadPlanTest, StretchesArePutInOrderAndSmallGapsAreRead) {
    using Ranges = std::vector<RecordedRange>;
    const std::pair<Ranges, Ranges> rows[] = {
        {{}, {}},
        {{{1, {50, 1}}, {0, {9, 1}}, {1, {40, 7}}, {0, {5, 1}}, {0, {14, 1}}},
         {{1, {40, 11}}, {0, {5, 5}}, {0, {14, 1}}}},
        {{{0, {1000, 600}}, {0, {0, 1}}}, {{0, {1000, 256}}, {0, {1256, 256}}, {0, {1512, 88}}, {0, {0, 1}}}},
        {{{0, {500, 255}}, {1, {0, 1}}, {0, {0, 1}}}, {{0, {500, 255}}, {1, {0, 1}}, {0, {0, 1}}}},
        {{{0, {0, 200}}, {0, {203, 53}}, {0, {256, 1}}}, {{0, {0, 256}}, {0, {256, 1}}}},
    };
    for (const auto& [ranges, pieces] : rows) {
        EXPECT_EQ(PlanPreread({0, false, {}, ranges}), pieces) << &pieces - &rows[0].second;
    }
}

}  // namespace
}  // namespace ZYRA::Host
