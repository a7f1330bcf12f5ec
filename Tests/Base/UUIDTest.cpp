#include "Base/UUID.hpp"

#include <algorithm>
#include <set>

TEST(UUID, ReadsEitherCaseAndPrintsUpperCase) {
    const auto id = base::UUID::parse("e621e1f8-C36C-495a-93FC-0c247a3e6e5f");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->text(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    EXPECT_EQ(base::UUID().text(), "00000000-0000-0000-0000-000000000000");
}

TEST(UUID, RefusesEverythingElse) {
    for (const auto* text :
         {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5", "E621E1F8-C36C-495A-93FC-0C247A3E6E5FF",
          "{621E1F8-C36C-495A-93FC-0C247A3E6E5F}", "G621E1F8-C36C-495A-93FC-0C247A3E6E5F", "E621E1F-8C36C-495A-93FC-0C247A3E6E5F",
          "E621E1F8-C36C-495A-93FC 0C247A3E6E5F", " 621E1F8-C36C-495A-93FC-0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5 "})
        EXPECT_EQ(base::UUID::parse(text), std::nullopt) << text;
}

TEST(UUID, FreshOnesDifferAndCarryVersionAndVariant) {
    std::set<base::UUID> all;
    for (int i = 0; i < 200; ++i) {
        const auto id = base::UUID::random();
        const auto text = id.text();
        EXPECT_EQ(text[14], '4') << text;
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
        EXPECT_EQ(base::UUID::parse(text), id);
        all.insert(id);
    }
    EXPECT_EQ(all.size(), 200u);
}

TEST(UUID, EqualOnesHashAlike) {
    const auto id = base::UUID::random();
    EXPECT_EQ(std::hash<base::UUID>()(id), std::hash<base::UUID>()(*base::UUID::parse(id.text())));
    EXPECT_NE(std::hash<base::UUID>()(id), std::hash<base::UUID>()(base::UUID()));
}

TEST(RandomBytes, AreAsManyAsAskedForAndNotAllAlike) {
    EXPECT_EQ(base::randomBytes(0), "");
    EXPECT_EQ(base::randomBytes(1000).size(), 1000u) << "more than one call may give";
    const auto bytes = base::randomBytes(64);
    EXPECT_FALSE(std::ranges::all_of(bytes, [&](char byte) { return byte == bytes[0]; }));
    EXPECT_NE(bytes, base::randomBytes(64));
}
