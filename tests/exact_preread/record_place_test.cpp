// SPDX-License-Identifier: Apache-2.0
// Where records may be made, changed and removed, and why not elsewhere.

#include "exact_preread/record_place.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include "exact_preread/unique_fd.h"
#include "exact_preread/workingset_paths.h"

namespace ZYRA::ResourceSchedule {
namespace {

namespace fs = std::filesystem;

const fs::path SERVICE = "/data/service";
const fs::path RECORDS = RECORD_DIRECTORY;
const fs::path OUTSIDE = "/data/outside";

enum class Operation { MAKE_FOLDER, REMOVE_FOLDER, REMOVE_FILE, MAKE_FILE, OPEN_FOLDER };

// The errno that the operation ends with, 0 for none.
int Try(Operation operation, const RecordPlace& place) {
    errno = 0;
    switch (operation) {
        case Operation::MAKE_FOLDER:
            return place.MakeDirectory(0700) == 0 ? 0 : errno;
        case Operation::REMOVE_FOLDER:
            return place.RemoveDirectory() == 0 ? 0 : errno;
        case Operation::REMOVE_FILE:
            return place.RemoveFile() == 0 ? 0 : errno;
        case Operation::MAKE_FILE:
            return UniqueFd(place.Open(O_RDWR | O_CREAT, 0600)).IsValid() ? 0 : errno;
        case Operation::OPEN_FOLDER:
            return UniqueFd(place.Open(O_RDONLY | O_DIRECTORY)).IsValid() ? 0 : errno;
    }
    return -1;
}

struct Attempt {
    std::string name;
    Operation operation;
    int error;
};
const Attempt ATTEMPTS[] = {
    {"mail/new", Operation::MAKE_FILE, 0},
    {"mail/kept", Operation::MAKE_FILE, 0},
    {"mail/toFile", Operation::MAKE_FILE, ELOOP},
    {"mail/toNothing", Operation::MAKE_FILE, ELOOP},
    {"mail/folder/new", Operation::MAKE_FILE, 0},
    {"mail/toFolder/new", Operation::MAKE_FILE, ENOTDIR},
    {"toFolder/new", Operation::MAKE_FILE, ENOTDIR},
    {"toFolder/../new", Operation::MAKE_FILE, EPERM},
    {"mail/../new", Operation::MAKE_FILE, EPERM},
    {"mail/../../new", Operation::MAKE_FILE, EPERM},
    {"mail//new", Operation::MAKE_FILE, EPERM},
    {"mail/./new", Operation::MAKE_FILE, EPERM},
    {std::string("mail/ze\0ro", 10), Operation::MAKE_FILE, EPERM},
    {"missing/new", Operation::MAKE_FILE, ENOENT},
    {"mail/kept/new", Operation::MAKE_FILE, ENOTDIR},
    {"mail", Operation::OPEN_FOLDER, 0},
    {"mail/folder", Operation::OPEN_FOLDER, 0},
    {"toFolder", Operation::OPEN_FOLDER, ENOTDIR},
    {"mail/toFolder", Operation::OPEN_FOLDER, ENOTDIR},
    {"..", Operation::OPEN_FOLDER, EPERM},
    {"maps/", Operation::MAKE_FOLDER, 0},
    {"mail/new folder", Operation::MAKE_FOLDER, 0},
    {"toNothing/", Operation::MAKE_FOLDER, EEXIST},
    {"toFolder/new", Operation::MAKE_FOLDER, ENOTDIR},
    {"../new", Operation::MAKE_FOLDER, EPERM},
    {"toFolder/kept", Operation::REMOVE_FILE, ENOTDIR},
    {"mail/../../kept", Operation::REMOVE_FILE, EPERM},
    {"mail/toFile", Operation::REMOVE_FILE, 0},
    {"mail/new", Operation::REMOVE_FILE, 0},
    {"toFolder", Operation::REMOVE_FOLDER, ENOTDIR},
    {"toFolder/folder", Operation::REMOVE_FOLDER, ENOTDIR},
    {"maps", Operation::REMOVE_FOLDER, 0},
};

class RecordPlaceTest : public testing::Test {
protected:
    void SetUp() override {
        fs::remove_all(SERVICE);
        fs::remove_all(OUTSIDE);
        fs::create_directories(RECORDS / "mail/folder");
        fs::create_directories(OUTSIDE / "folder");
        for (const fs::path& folder : {RECORDS / "mail", OUTSIDE}) {
            std::ofstream(folder / "kept") << "kept";
        }
        for (const fs::path& folder : {RECORDS, RECORDS / "mail"}) {
            fs::create_symlink(OUTSIDE / "kept", folder / "toFile");
            fs::create_symlink(OUTSIDE / "nothing", folder / "toNothing");
            fs::create_directory_symlink(OUTSIDE, folder / "toFolder");
        }
    }
    void TryAll() {
        for (const auto& [name, operation, error] : ATTEMPTS) {
            EXPECT_EQ(Try(operation, RecordPlace(RECORD_DIRECTORY + name)), error)
                << static_cast<int>(operation) << " " << name;
        }
        // Two entries, and what they were.
        EXPECT_EQ(std::distance(fs::directory_iterator(OUTSIDE), fs::directory_iterator()), 2);
        EXPECT_EQ(fs::file_size(OUTSIDE / "kept"), 4);
        EXPECT_TRUE(fs::is_empty(OUTSIDE / "folder"));
        EXPECT_EQ(fs::file_size(RECORDS / "mail/kept"), 4);
        EXPECT_TRUE(fs::is_regular_file(RECORDS / "mail/folder/new"));
        EXPECT_TRUE(fs::is_directory(RECORDS / "mail/new folder"));
    }
};

TEST_F(RecordPlaceTest, NoLinkBelowTheRecordDirectoryIsTaken) {
    TryAll();
}

// The kernel refuses the whole path in one step then, and each folder is entered by itself.
TEST_F(RecordPlaceTest, ALinkOnTheWayToTheRecordDirectoryMakesNoDifference) {
    fs::rename(SERVICE, "/data/moved");
    fs::create_directory_symlink("/data/moved", SERVICE);
    TryAll();
    fs::remove(SERVICE);
    fs::rename("/data/moved", SERVICE);
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
