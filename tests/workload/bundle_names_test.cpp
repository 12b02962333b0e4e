// SPDX-License-Identifier: Apache-2.0
// What applications of a log are called on the device.

#include "host/workload/bundle_names.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace ZYRA::Host {
namespace {

TEST(BundleNamesTest, LabelsThatAreBundleNames) {
    const std::string longest(127, 'a');
    for (const std::string& name : {std::string("com.a.b"), std::string("Abcdef_"), longest}) {
        EXPECT_TRUE(IsBundleName(name)) << name;
        EXPECT_EQ(BundleNamesOf({name}).at(name), name);
    }
    for (const std::string& label : {std::string("com.ab"), std::string("1com.ab"), std::string("_com.ab"),
                                     std::string("com.a b"), std::string("com/a/b"), longest + "a", std::string()}) {
        EXPECT_FALSE(IsBundleName(label)) << label;
    }
}

TEST(BundleNamesTest, OtherLabelsGetNamesMadeOfThem) {
    const struct {
        std::string label;
        std::string name;
    } rows[] = {
        {"Mail", "app.Mail"},
        {"X", "app.X__"},
        {"My App!", "app.My_App_"},
        {"../../etc", "app.______etc"},
        {"\xE5\xBE\xAE\xE4\xBF\xA1 2", "app.___2"},
        {"\xFF\xFE", "app.___"},
        {std::string(200, 'x'), "app." + std::string(103, 'x')},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(BundleNamesOf({row.label}).at(row.label), row.name) << row.label;
    }
}

TEST(BundleNamesTest, AMadeNameGivesWayToWhatIsTaken) {
    const auto names = BundleNamesOf({"My App", "My-App", "app.My_App", "My_App", "app.My_App_2"});
    EXPECT_EQ(names.at("app.My_App"), "app.My_App");
    EXPECT_EQ(names.at("app.My_App_2"), "app.My_App_2");
    EXPECT_EQ(names.at("My App"), "app.My_App_3");
    EXPECT_EQ(names.at("My-App"), "app.My_App_4");
    EXPECT_EQ(names.at("My_App"), "app.My_App_5");
}

RC_GTEST_PROP(BundleNamesTest, EveryLabelHasABundleNameOfItsOwn, (const std::set<std::string>& labels)) {
    const auto names = BundleNamesOf({labels.begin(), labels.end()});
    std::set<std::string> distinct;
    for (const std::string& label : labels) {
        RC_ASSERT(IsBundleName(names.at(label)));
        RC_ASSERT(distinct.insert(names.at(label)).second);
    }
}

}  // namespace
}  // namespace ZYRA::Host
