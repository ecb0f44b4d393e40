#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BHashTable.h"
#include "clientTestSupport.h"
#include "txn.h"

namespace {

// SERVER0 .. SERVER<SERVERCOUNT - 1>, and whether the next number is free.
std::vector<std::string> servers(txn* t) {
  std::vector<std::string> list;
  int count = atoi(get(t, "SERVERCOUNT") ? get(t, "SERVERCOUNT") : "-1");
  for (int i = 0; i < count; i++) {
    const char* server = get(t, ("SERVER" + std::to_string(i)).c_str());
    list.push_back(server ? server : "<absent>");
  }
  return list;
}

}  // namespace

TEST(ServerList, AnyMixOfSeparatorsAndNoEmptyEntries) {
  struct {
    const char* list;
    std::vector<std::string> servers;
  } cases[] = {
      {"alpha, beta;gamma", {"alpha", "beta", "gamma"}},
      {",,alpha,,beta,,", {"alpha", "beta"}},
      {" \talpha\t ;beta:9", {"alpha", "beta:9"}},
      {"", {}},
      {nullptr, {}},
  };
  for (auto& c : cases) {
    Handle t;
    setServers(t, c.list);
    EXPECT_EQ(servers(t), c.servers) << (c.list ? c.list : "null");
    EXPECT_FALSE(t->bundle->contains(("SERVER" + std::to_string(c.servers.size())).c_str()));
  }
}

TEST(ServerList, ShorterSecondListLowersTheCountAndLeavesOldFields) {
  Handle t;
  setServers(t, "a b c");
  setServers(t, "x;y");
  EXPECT_EQ(servers(t), (std::vector<std::string>{"x", "y"}));
  EXPECT_STREQ(get(t, "SERVER2"), "c");
}
