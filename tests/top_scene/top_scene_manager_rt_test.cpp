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
    // The answers, each with what was logged of it.
    Lines Ask(const Lines& scenes) {
        logs_.Take();
        Lines answers;
        for (const std::string& scene : scenes) {
            answers.push_back(std::to_string(rt_.IsTopNScene(scene)));
            for (const std::string& line : logs_.Take()) {
                answers.back() += " " + line;
            }
        }
        return answers;
    }
    static std::string Answer(const std::string& scene, bool isTop, bool isTrained) {
        return std::to_string(isTop) + " D sceneName: " + scene + ", isTopNScene: " + std::to_string(isTop) +
               ", isTrained: " + std::to_string(isTrained);
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

TEST_F(TopSceneManagerRtTest, AdmitsTheFirstWhileThereIsRoom) {
    const struct {
        int topN;
        std::unordered_set<std::string> published;
        Lines answers;  // To a/x, b/y, c/z, a/x.
    } rows[] = {
        {2,
         {},
         {Answer("a/x", true, false), Answer("b/y", true, false), Answer("c/z", false, false),
          Answer("a/x", true, false)}},
        {2,
         {"a/x"},
         {Answer("a/x", true, true), Answer("b/y", true, false), Answer("c/z", false, false),
          Answer("a/x", true, true)}},
        {2,
         {"b/y", "c/z", "d/w"},
         {Answer("a/x", false, false), Answer("b/y", true, true), Answer("c/z", true, true),
          Answer("a/x", false, false)}},
        {0,
         {"c/z"},
         {Answer("a/x", false, false), Answer("b/y", false, false), Answer("c/z", true, true),
          Answer("a/x", false, false)}},
        {2,
         {"d/w"},
         {Answer("a/x", true, false), Answer("b/y", false, false), Answer("c/z", false, false),
          Answer("a/x", true, false)}},
    };
    for (const auto& row : rows) {
        rt_.Init(row.topN);
        Publish(row.published);
        EXPECT_EQ(Ask({"a/x", "b/y", "c/z", "a/x"}), row.answers);
    }
}

TEST_F(TopSceneManagerRtTest, PublicationForgetsWhatWasAdmitted) {
    rt_.Init(2);
    Publish({"a/x"});
    EXPECT_TRUE(rt_.IsTopNScene("b/y"));
    EXPECT_FALSE(rt_.IsTopNScene("c/z"));
    Publish({"d/w"});
    EXPECT_TRUE(rt_.IsTopNScene("c/z"));
    EXPECT_FALSE(rt_.IsTopNScene("b/y"));
    EXPECT_FALSE(rt_.IsTopNScene("a/x"));
    EXPECT_EQ(logs_.Take('I').back(), "I UpdateTopNScene success, cacheTopNScenes_ size:1");
}

}  // namespace
}  // namespace ZYRA::ResourceSchedule
