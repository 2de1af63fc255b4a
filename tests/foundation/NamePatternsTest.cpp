#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archivefile/foundation/NamePatterns.h"

using archivefile::NamePatterns;

TEST(NamePatterns, PatternsWithoutSeparatorMatchTheNameOrAnyFolder) {
    NamePatterns patterns("*.P3D, data ,click?.wss");
    EXPECT_TRUE(patterns.matches("models\\tank.p3d"));
    EXPECT_TRUE(patterns.matches("Data\\wall.paa"));
    EXPECT_TRUE(patterns.matches("a\\data\\b\\wall.paa"));
    EXPECT_TRUE(patterns.matches("sounds/click1.wss"));
    EXPECT_FALSE(patterns.matches("sounds\\click10.wss"));
    EXPECT_FALSE(patterns.matches("database\\x.txt"));
    EXPECT_FALSE(patterns.matches("tank.p3d.bak"));
}

TEST(NamePatterns, PatternsWithSeparatorMatchThePathOrALeadingFolder) {
    NamePatterns patterns("data/*.paa,\\sounds\\effects\\");
    EXPECT_TRUE(patterns.matches("data\\wall.paa"));
    EXPECT_TRUE(patterns.matches("data\\sub\\wall.paa"));
    EXPECT_FALSE(patterns.matches("other\\data\\wall.paa"));
    EXPECT_TRUE(patterns.matches("Sounds\\Effects\\bang.wss"));
    EXPECT_FALSE(patterns.matches("sounds\\effects.wss"));
}

TEST(NamePatterns, UnmatchedPatternsAreTheOnesNoPathMatched) {
    NamePatterns patterns("*.txt, nothing*,,data/");
    EXPECT_FALSE(patterns.empty());
    patterns.matches("readme.txt");
    EXPECT_EQ(patterns.unmatched(), (std::vector<std::string>{"nothing*", "data/"}));
    EXPECT_TRUE(NamePatterns(" , ").empty());
}
