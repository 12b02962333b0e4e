// SPDX-License-Identifier: Apache-2.0
#include "frame/common/common_util.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <vector>

#include "frame/common/file_system.h"
#include "host/services/device_state.h"

namespace ZYRA::ResourceSchedule {
namespace {

TEST(CommonUtilTest, StringToInt32TakesAllOfTheTextOrNothing) {
    const struct {
        std::string text;
        int32_t value;
    } rows[] = {
        {"42", 42},
        {"-7", -7},
        {" 42", 42},
        {"2147483647", 2147483647},
        {"-2147483648", -2147483647 - 1},
        {"", 0},
        {"x", 0},
        {"42x", 0},
        {"42 ", 0},
        {"0x10", 0},
        {std::string("42\0", 3), 0},
        {"2147483648", 0},
        {"-2147483649", 0},
        {"99999999999999999999", 0},
    };
    errno = ERANGE;  // One that was left by an earlier call is no overflow.
    for (const auto& row : rows) {
        EXPECT_EQ(CommonUtil::StringToInt32(row.text), row.value) << '"' << row.text << '"';
    }
}

TEST(CommonUtilTest, IsNumericStringAcceptsDigitsOnly) {
    for (const std::string text : {"0", "0123456789", "99999999999999999999"}) {
        EXPECT_TRUE(CommonUtil::IsNumericString(text)) << text;
    }
    for (const std::string text : {"", "-1", "+1", " 1", "1 ", "1.0", "a", "\xd9\xa1"}) {
        EXPECT_FALSE(CommonUtil::IsNumericString(text)) << text;
    }
}

TEST(CommonUtilTest, CheckBundleNameLooksAtLengthFirstLetterAndCharacters) {
    for (const std::string& name : {std::string("abc.def"), std::string("Z_9.x_y"), std::string(127, 'a')}) {
        EXPECT_TRUE(CommonUtil::CheckBundleName(name)) << name;
    }
    for (const std::string& name :
         {std::string(), std::string("abc.de"), std::string(128, 'a'), std::string("1bc.def"), std::string("_bc.def"),
          std::string(".bc.def"), std::string("abc/def"), std::string("abc-def"), std::string("abc.d\xc3\xa9"),
          std::string("abc.def\0", 8)}) {
        EXPECT_FALSE(CommonUtil::CheckBundleName(name)) << name;
    }
}

TEST(CommonUtilTest, StringTrimRemovesWhiteSpaceAtBothEnds) {
    const struct {
        std::string text;
        std::string trimmed;
    } rows[] = {
        {"", ""},
        {" \t\n\v\f\r", ""},
        {"x", "x"},
        {"\r\n a\tb \v\f", "a\tb"},
        {std::string("\0 ", 2), std::string(1, '\0')},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CommonUtil::StringTrim(row.text), row.trimmed) << '"' << row.text << '"';
    }
}

TEST(CommonUtilTest, RamSizeIsTheParametersOrTheKernels) {
    constexpr int64_t KERNELS = -1;
    const struct {
        std::string parameter;
        int64_t sizeMB;
    } rows[] = {
        {"12", 12288},
        {"012", 12288},
        {"0", 0},
        {"", KERNELS},
        {"12GB", KERNELS},
        {"-12", KERNELS},
        {"9007199254740991", 9223372036854774784},
        {"9007199254740992", 0},  // So many GB are too many MB.
        {"99999999999999999999", 0},
    };
    for (const auto& row : rows) {
        Host::DeviceState device;
        device.parameters = {{"zyra.boot.vendor.ddrsize", row.parameter}};
        Host::DeviceServices::GetInstance().Set(device);
        const int64_t size = CommonUtil::GetTotalRamSize();
        if (row.sizeMB == KERNELS) {
            EXPECT_EQ(size % 1024, 0) << row.parameter;
            EXPECT_NE(size, 12288) << row.parameter;
        } else {
            EXPECT_EQ(size, row.sizeMB) << row.parameter;
        }
    }
}

// The tests run on a storage of 128 GB.
TEST(CommonUtilTest, RomSizeIsRoundedUpToAPowerOfTwo) {
    EXPECT_EQ(CommonUtil::GetTotalRomSize(), 128 * 1024);
}

TEST(FileSystemTest, ReadLinesAppendsEveryLine) {
    const std::string path = ::testing::TempDir() + "lines";
    const struct {
        std::string content;
        std::vector<std::string> lines;
    } rows[] = {
        {"", {"before"}},
        {"\n", {"before", ""}},
        {"a", {"before", "a"}},
        {"a\n", {"before", "a"}},
        {"a\n\nb\r\n c", {"before", "a", "", "b\r", " c"}},
        {std::string("a\0b\n", 4), {"before", std::string("a\0b", 3)}},
    };
    for (const auto& row : rows) {
        std::ofstream(path) << row.content;
        std::vector<std::string> lines = {"before"};
        EXPECT_TRUE(FileSystem::ReadLinesFromFile(path, lines));
        EXPECT_EQ(lines, row.lines);
    }
}

TEST(FileSystemTest, FailureLeavesErrnoAndTheOutputAlone) {
    const std::string missing = ::testing::TempDir() + "missing";
    std::vector<std::string> lines = {"before"};
    EXPECT_FALSE(FileSystem::ReadLinesFromFile(missing, lines));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_FALSE(FileSystem::ReadLinesFromFile("/", lines));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(lines, std::vector<std::string>{"before"});

    std::string realPath = "before";
    EXPECT_FALSE(FileSystem::GetRealPath(missing, realPath));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(realPath, "before");
    EXPECT_TRUE(FileSystem::GetRealPath("//dev/../dev//null", realPath));
    EXPECT_EQ(realPath, "/dev/null");
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
