// SPDX-License-Identifier: Apache-2.0
#include "top_scene/top_scene_manager_rt.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "tests/top_scene/log_lines.h"

namespace ZYRA::ResourceSchedule {
namespace {

using Lines = std::vector<std::string>;

class TopSceneManagerRtTest : public ::testing::Test {
protected:
    void Publish(std::unordered_set<std::string> scenes) {
        rt_.UpdateTopNScene(scenes);
        EXPECT_TRUE(scenes.empty());
    }
    // For each scene whether it is top, and whether it is said to be in the set.
    std::string Ask(const Lines& scenes) {
        std::string answers;
        for (const std::string& scene : scenes) {
            logs_.Take();
            const std::string isTop = std::to_string(rt_.IsTopNScene(scene));
            const std::string line = logs_.Take().at(0);
            EXPECT_EQ(line.substr(0, line.size() - 1),
                      "D sceneName: " + scene + ", isTopNScene: " + isTop + ", isTrained: ");
            answers += isTop + line.back() + " ";
        }
        return answers;
    }

    LogLines logs_;
    TopSceneManagerRt& rt_ = TopSceneManagerRt::GetInstance();
};

TEST_F(TopSceneManagerRtTest, NothingIsTopBeforeAPublication) {
    rt_.Init(2);
    for (const char* scene : {"a/x", "b/y", "a/x", ""}) {
        EXPECT_FALSE(rt_.IsTopNScene(scene));
    }
    EXPECT_EQ(logs_.Take(), Lines());
    Publish({});
    EXPECT_EQ(logs_.Take(), Lines{"I UpdateTopNScene success, cacheTopNScenes_ size:0"});
    EXPECT_TRUE(rt_.IsTopNScene("c/z")) << "asking before has taken no room";
    EXPECT_TRUE(rt_.IsTopNScene("a/x"));
}

// Each publication forgets what was admitted before it.
TEST_F(TopSceneManagerRtTest, AdmitsTheFirstWhileThereIsRoom) {
    const struct {
        int topN;
        std::unordered_set<std::string> published;
        const char* answers;
    } rows[] = {
        {2, {}, "10 10 00 10 "},      {2, {"a/x"}, "11 10 00 11 "}, {2, {"b/y", "c/z", "d/w"}, "00 11 11 00 "},
        {0, {"c/z"}, "00 00 11 00 "}, {2, {"d/w"}, "10 00 00 10 "},
    };
    for (const auto& row : rows) {
        rt_.Init(row.topN);
        Publish(row.published);
        EXPECT_EQ(Ask({"a/x", "b/y", "c/z", "a/x"}), row.answers);
    }
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
