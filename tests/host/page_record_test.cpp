// SPDX-License-Identifier: Apache-2.0
// Page sets against a naive model, the text of a record and its damage, what became of recorded files, and records put
// in the place of others.

#include "host/pages/page_record.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>

#include "host/kernel/scene_line.h"
#include "host/pages/page_record_file.h"
#include "host/pages/record_check.h"
#include "host/pages/record_fit.h"
#include "host/runtime/confined_folder.h"

namespace ZYRA::Host {
namespace {

namespace fs = std::filesystem;

// The pages that are in none but the first of the sets, as ranges.
std::vector<PageRange> RunsOf(const std::set<uint64_t>& pages, const std::set<uint64_t>& but = {}) {
    std::vector<PageRange> runs;
    for (const uint64_t page : pages) {
        const bool goesOn = !runs.empty() && runs.back().first + runs.back().count == page;
        if (!but.contains(page)) {
            goesOn ? ++runs.back().count : runs.emplace_back(PageRange{page, 1}).count;
        }
    }
    return runs;
}

// At the beginning of a file and where numbers end; the page UINT64_MAX cannot be held.
RC_GTEST_PROP(PageSetTest, CountsAsASetOfNumbersDoes, ()) {
    const uint64_t base = *rc::gen::element<uint64_t>(0, UINT64_MAX - 40);
    PageSet sets[2];
    std::set<uint64_t> models[2];
    for (const auto& [place, kind] : *rc::gen::arbitrary<std::vector<std::pair<uint8_t, uint8_t>>>()) {
        PageSet& set = sets[place % 2];
        std::set<uint64_t>& model = models[place % 2];
        const std::set<uint64_t> before = model;
        const uint64_t first = base + place / 2 % 41;
        if (kind % 8 == 7) {
            set.Clip(first);
            model.erase(model.lower_bound(first), model.end());
        } else {
            const uint64_t count = kind % 8 == 6 && base != 0 ? UINT64_MAX : kind % 8;
            for (uint64_t page = first; page - first < count && page != UINT64_MAX; ++page) {
                model.insert(page);
            }
            RC_ASSERT(set.Add({first, count}) == RunsOf(model, before));
        }
        RC_ASSERT(set.Ranges() == RunsOf(model) && set.Contains(first) == model.contains(first));
        RC_ASSERT(set.Count() == model.size() && sets[0].Without(sets[1]).Ranges() == RunsOf(models[0], models[1]));
        RC_ASSERT(sets[0].CountCommon(sets[1]) + sets[0].Without(sets[1]).Count() == models[0].size());
    }
}

// The text of a record is read as the record, and anything near it as none.
RC_GTEST_PROP(PageRecordTest, ComesBackFromItsTextUnlessThatIsDamaged, (int64_t madeAtS, bool isOlder)) {
    PageRecord record = {madeAtS, isOlder, {}, {}};
    const auto numbers = rc::gen::arbitrary<std::vector<std::pair<uint64_t, int64_t>>>();
    for (const auto& [device, number] : *rc::gen::resize(5, numbers)) {
        const auto file = static_cast<uint32_t>(record.files.size() + 1);
        const int64_t size = (number & INT64_MAX) | 8192;
        record.files.push_back({number % 2 == 0 ? FileKind::FOLDER : FileKind::LINK, {device, file, 0, 0}, "/"});
        record.files.push_back({FileKind::REGULAR, {device, file, size, number}, "/x"});
        record.ranges.insert(record.ranges.begin(), {file, {0, 1}});
        record.ranges.push_back({file, {1 + device % (PagesOf(size) - 1), 1}});
    }
    std::string reason;
    const std::string text = EncodeRecord(record);
    RC_ASSERT(DecodeRecord(text, reason) == record);
    for (size_t at = 0; at < text.size(); ++at) {
        std::string damaged = text;
        while (++damaged[at] != text[at]) {
            RC_ASSERT(!DecodeRecord(damaged, reason));
        }
        RC_ASSERT(!DecodeRecord(text.substr(0, at), reason) && !DecodeRecord(text + text[at], reason));
    }
}

// The checksum is right in each of them. Digits stand for bytes of that value; the file has 4 pages.
TEST(PageRecordTest, BodiesThatLieAreRefused) {
    const std::string file =
        "011\x80\x80"
        "102/a";
    const std::string most = "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\1";
    const std::pair<std::string, const char*> rows[] = {
        {"001" + file + "210403", ""},
        {most + "0000", "bad head"},
        {"0" + most + most, "bad number of files"},
        {"002" + file + file + "0", "a file twice"},
        {"001011103/0a0", "bad path"},
        {"001" + file + "100", "a range of no file"},
        {"001" + file + "1101", "a range beyond the end of its file"},
        {"001" + file + "1" + most + "02", "a range beyond the end of its file"},
        {"001" + file + "230425", "a page twice"},
        {"00000", "bytes behind its end"},
    };
    for (auto [text, expected] : rows) {
        for (char& byte : text) {
            byte = static_cast<char>(byte >= '0' && byte <= '9' ? byte - '0' : byte);
        }
        std::string reason;
        EXPECT_EQ(DecodeRecord(SealRecordBody(text), reason).has_value(), *expected == '\0') << expected;
        EXPECT_EQ(reason, expected);
    }
}

TEST(RecordFitTest, ExtendedRecordHoldsWhatItMissedOnce) {
    const RecordedFile a = {FileKind::REGULAR, {1, 2, 90000, 3}, "/a"};
    const RecordedFile b = {FileKind::REGULAR, {1, 4, 90000, 3}, "/b"};
    const PageRecord record = {5, false, {a}, {{0, {10, 2}}}};
    PageRecord more = {9, true, {b, a}, {{1, {9, 5}}, {0, {0, 2}}}};
    const PageRecord extended = {5, false, {a, b}, {{0, {10, 2}}, {0, {9, 1}}, {0, {12, 2}}, {1, {0, 2}}}};
    EXPECT_EQ(ExtendRecord(record, more), extended);
    EXPECT_EQ(ExtendRecord(extended, more), extended);
    // Another file has taken the place of the first.
    more.files[1].identity.mtimeNs = 4;
    EXPECT_EQ(ExtendRecord(record, more), (PageRecord{5, false, {a, b}, {{0, {10, 2}}, {1, {0, 2}}}}));
    const auto fit = [&](uint64_t recorded, uint64_t neverTouched, uint64_t missed) {
        return RecordFit{recorded, neverTouched, {0, false, {b}, {{0, {0, missed}}}}};
    };
    EXPECT_TRUE(fit(39, 0, 2).IsPoor() && !fit(40, 0, 2).IsPoor());
    EXPECT_TRUE(fit(40, 4, 1).IsToBeExtended() && !fit(40, 5, 1).IsToBeExtended() && !fit(40, 4, 0).IsToBeExtended());
}

const std::string ROOT(RECORD_DIRECTORY);
const std::string SCENE = ROOT + "bundle/scene";
const ConfinedFolder FOLDER(ROOT);

void Write(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
}

TEST(RecordPlaceTest, AChangedFileMakesTheRecordOlder) {
    const std::string path = ROOT + "library";
    const std::function<void()> changes[] = {
        [] {},
        [&] { Write(path, "longer"), fs::last_write_time(path, {}); },
        [&] { fs::last_write_time(path, fs::file_time_type::clock::now()); },
        [&] { fs::remove(path); },
        [&] { fs::copy_file(path, path + "2"), fs::rename(path + "2", path), fs::last_write_time(path, {}); },
        [&] { fs::rename(path, path + "2"), fs::create_symlink(path + "2", path); },
    };
    for (size_t row = 0; row < std::size(changes); ++row) {
        fs::remove(path);
        Write(path, "text");
        fs::last_write_time(path, {});
        const RecordedFile file = {FileKind::REGULAR, LookAtPath({FileKind::REGULAR, {}, path}).value(), path};
        changes[row]();
        EXPECT_EQ(CheckRecord({0, false, {file}, {}}).state == RecordState::UPTODATE, row == 0) << row;
        EXPECT_EQ(CheckRecord({0, true, {file}, {}}).state, RecordState::OLDER) << row;
    }
}

// (a) An empty file takes a record, whatever an earlier replacement has left; no file, a link, a folder and a full disk
// take none and stay what they are. (b) What is no record says why.
TEST(RecordPlaceTest, OnlyWhatIsThereIsReplacedAndAFullDiskKeepsIt) {
    fs::create_directories(ROOT);
    ASSERT_EQ(mount("test", ROOT.c_str(), "tmpfs", 0, "size=64k"), 0);
    fs::create_directories(ROOT + "bundle");
    fs::create_symlink("scene", ROOT + "bundle/link");
    Write(ROOT + ConfinedFolder::REPLACING_NAME, "stale");
    const PageRecord record = {1, true, {{FileKind::REGULAR, {1, 0, 4096, 0}, "/x"}}, {{0, {0, 1}}}};
    std::string reason = "kept";
    EXPECT_EQ(SavePageRecord(SCENE, record), ENOENT);
    Write(SCENE, "");
    EXPECT_FALSE(LoadPageRecord(SCENE, reason) || !reason.empty());
    EXPECT_EQ(SavePageRecord(ROOT + "bundle/link", record), ELOOP);
    EXPECT_EQ(SavePageRecord(SCENE, record), 0);
    EXPECT_EQ(FOLDER.Replace(SCENE, std::string(80000, 'x')), ENOSPC);
    EXPECT_FALSE(fs::exists(ROOT + ConfinedFolder::REPLACING_NAME));
    EXPECT_EQ(LoadPageRecord(SCENE, reason), record) << reason;
    EXPECT_EQ(FOLDER.Replace(SCENE, "x"), 0);
    EXPECT_FALSE(LoadPageRecord(SCENE, reason) || reason != "not a page record");
    EXPECT_EQ(umount(ROOT.c_str()), 0);
}

// Another process replaces the file over and over and is killed somewhere in it, while this one replaces and reads it:
// what it reads is whole, and nobody's replacement fails.
TEST(RecordPlaceTest, WhoeverDiesLeavesTheOldOrTheNewContent) {
    const std::string contents[] = {std::string(100000, '0'), std::string(90000, '1')};
    Write(SCENE, contents[0]);
    for (int round = 0; round < 20; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        while (child == 0) {
            FOLDER.Replace(SCENE, contents[1]) == 0 ? void() : _exit(1);
        }
        for (int times = 0; times < 5 + round; ++times) {
            std::string text;
            EXPECT_TRUE(FOLDER.Replace(SCENE, contents[0]) == 0 && FOLDER.Read(SCENE, text, 100000) == 0);
            EXPECT_TRUE(text == contents[0] || text == contents[1]) << text.size();
        }
        int status = 0;
        EXPECT_TRUE(kill(child, SIGKILL) == 0 && waitpid(child, &status, 0) == child && WIFSIGNALED(status));
    }
}

}  // namespace
}  // namespace ZYRA::Host
