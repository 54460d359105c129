#include "client/handles.h"

#include <gtest/gtest.h>
#include <vector>

static client_env *const here = reinterpret_cast<client_env *>(0x1000);
static client_env *const there = reinterpret_cast<client_env *>(0x2000);

TEST(Handles, AreFoundByTheirKindUntilForgottenAndNothingElseIs)
{
    client_object o;
    void *h = client_addhandle(CLIENT_LP, here, 77);
    ASSERT_TRUE(client_findhandle(h, CLIENT_LP, &o));
    EXPECT_EQ(o.env, here);
    EXPECT_EQ(o.remote, 77u);
    EXPECT_FALSE(client_findhandle(h, CLIENT_NET, &o));
    uint64_t bits = reinterpret_cast<uint64_t>(h);
    for (uint64_t wrong :
         {uint64_t(0), uint64_t(1), reinterpret_cast<uint64_t>(&o), bits & 0xffffffffffff, bits + 1,
          bits | 0xffffff, bits ^ uint64_t(1) << 30})
        EXPECT_FALSE(client_findhandle(reinterpret_cast<void *>(wrong), CLIENT_LP, &o));
    client_forgethandle(h);
    void *next = client_addhandle(CLIENT_LP, here, 78);
    EXPECT_NE(next, h);
    EXPECT_FALSE(client_findhandle(h, CLIENT_LP, &o));
    client_forgethandle(next);
}

TEST(Handles, OfAnEnvironmentGoTogetherAndAreListedInTheOrderTheyWereMade)
{
    std::vector<void *> made;
    for (uint64_t i = 0; i < 300; i++)
        made.push_back(client_addhandle(i % 2 ? CLIENT_NET : CLIENT_LP, i % 3 ? here : there, i));
    client_forgethandle(made[1]);
    client_addhandle(CLIENT_LP, here, 1000); // in the freed place, but the youngest
    client_object list[250];
    ASSERT_EQ(client_listhandles(here, list, 250), 200u);
    EXPECT_EQ(list[0].remote, 2u);
    EXPECT_EQ(list[199].remote, 1000u);
    EXPECT_EQ(client_knownhandle(here, CLIENT_LP, 2), made[2]);
    client_forgetall(here);
    EXPECT_EQ(client_listhandles(here, list, 250), 0u);
    EXPECT_EQ(client_listhandles(there, list, 250), 100u);
    client_forgetall(there);
}
