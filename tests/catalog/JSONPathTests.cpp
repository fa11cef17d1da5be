#include "catalog/JSONPath.h"

#include <gtest/gtest.h>

namespace velmo {
namespace {

using json = nlohmann::json;
using JSONPath::components;

TEST(JSONPath, ComponentsDropEmptyParts) {
    EXPECT_EQ(components("fm.ops.1.ratio"), (std::vector<std::string>{"fm", "ops", "1", "ratio"}));
    EXPECT_EQ(components(".filter..cutoff."), (std::vector<std::string>{"filter", "cutoff"}));
    EXPECT_TRUE(components("").empty());
    EXPECT_TRUE(components("...").empty());
}

TEST(JSONPath, GetWalksObjectsAndArrayIndices) {
    const json tree = {{"a", {{"list", {10, {{"x", true}}, 30}}}}, {"7", "key"}};
    EXPECT_EQ(*JSONPath::get(components(""), tree), tree);
    EXPECT_EQ(*JSONPath::get(components("a.list.0"), tree), 10);
    EXPECT_EQ(*JSONPath::get(components("a.list.1.x"), tree), true);
    EXPECT_EQ(*JSONPath::get(components("7"), tree), "key") << "digits name an object key outside arrays";
    EXPECT_EQ(JSONPath::get(components("a.list.3"), tree), nullptr) << "index past the end";
    EXPECT_EQ(JSONPath::get(components("a.list.-1"), tree), nullptr);
    EXPECT_EQ(JSONPath::get(components("a.list.x"), tree), nullptr) << "arrays have no keys";
    EXPECT_EQ(JSONPath::get(components("a.list.0.deeper"), tree), nullptr) << "no step into a number";
    EXPECT_EQ(JSONPath::get(components("a.missing"), tree), nullptr);
}

TEST(JSONPath, SetReplacesCreatesOrLeavesAlone) {
    const json tree = {{"a", {{"list", {1, 2}}, {"n", 5}}}};

    EXPECT_EQ(JSONPath::set(9, components("a.list.1"), tree), json({{"a", {{"list", {1, 9}}, {"n", 5}}}}));
    EXPECT_EQ(JSONPath::set("v", components("a.new.deep"), tree)["a"]["new"], json({{"deep", "v"}}))
        << "missing keys become objects on the way down";
    EXPECT_EQ(JSONPath::set(9, components("a.list.2"), tree), tree) << "an index past the end is dropped";
    EXPECT_EQ(JSONPath::set(9, components("a.n.x"), tree), tree) << "no step into a number";
    EXPECT_EQ(JSONPath::set(9, components("a.list.x"), tree), tree) << "arrays have no keys";
    EXPECT_EQ(JSONPath::set(9, {}, tree), 9) << "an empty path replaces the whole tree";
}

} // namespace
} // namespace velmo
