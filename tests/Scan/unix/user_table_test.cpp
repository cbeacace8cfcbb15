#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <sstream>

#include "Scan/entry/UserTable.h"
#include "Scan/unix/UnixUserTable.h"
#include "support/PrivateMounts.h"
#include "support/TempDir.h"

namespace orv {
namespace {

std::string describe(const UserOrGroup& record) {
  std::ostringstream text;
  text << record.ugName << "|" << record.ugDescription << "|" << record.ugID << "|"
       << record.ugGroupID << "|" << record.ugType << "|" << record.ugRemoved << "|"
       << record.ugDomainID << "|" << record.ugComputerID;
  return text.str();
}

TEST(UnixUserTable, NamesAnIdWithoutAnEntryByItsUnsignedDecimalText) {
  UberTable uber;
  UnixUserTable table(uber);
  const struct {
    std::uint32_t id;
    bool isGroup;
    const char* expected;
  } rows[] = {
      {4294967294U, false, "4294967294||-2|0|1|1|-1|-1"},
      {4294967295U, false, "4294967295||-1|0|1|1|-1|-1"},
      {4294967294U, true, "4294967294||0|-2|2|1|-1|-1"},
      {3999999999U, true, "3999999999||0|-294967297|2|1|-1|-1"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(describe(*table.lookup(Sid(row.id), row.isGroup)), row.expected) << row.id;
}

TEST(UnixUserTable, KeepsUsersAndGroupsOfOneNumberApart) {
  UberTable uber;
  UnixUserTable table(uber);
  UserOrGroup* user = table.find(Sid(0), false);
  UserOrGroup* group = table.find(Sid(0), true);
  EXPECT_EQ(user->ugName, "root");
  EXPECT_EQ(user->ugType, UserOrGroup::USER);
  EXPECT_EQ(describe(*group), "root||0|0|2|0|-1|-1");
  // The last id is kept per kind, and another one between does not confuse it.
  EXPECT_EQ(table.find(Sid(0), false), user);
  EXPECT_NE(table.find(Sid(4294967294U), false), user);
  EXPECT_EQ(table.find(Sid(0), false), user);
  EXPECT_EQ(table.find(Sid(0), true), group);
  table.cleanUP();
  EXPECT_EQ(table.find(Sid(0), false), user) << "the records outlive the caches";
}

// A look-up that fails finds nothing out: the id is no orphan, shares no record, and is asked
// again.
TEST(UnixUserTable, AFailedLookupIsNoAnswer) {
  UberTable uber;
  UnixUserTable table(uber);
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none{0, limit.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const UserOrGroup* failed = table.find(Sid(3999999999U), false);
  const std::string group = describe(*table.find(Sid(1), true));
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(describe(*failed), "3999999999||-294967297|0|1|0|-1|-1");
  EXPECT_EQ(group, "1||0|1|2|0|-1|-1");
  EXPECT_EQ(table.find(Sid(3999999999U), false), failed);
  EXPECT_EQ(table.failureCount(), 2U);
  EXPECT_EQ(table.firstFailure(), "user 3999999999: Too many open files");
  table.retryFailures();
  EXPECT_EQ(table.failureCount(), 0U);
  EXPECT_TRUE(table.find(Sid(3999999999U), false)->ugRemoved);
  EXPECT_EQ(table.find(Sid(1), true)->ugName, "daemon");
}

// Against databases of our own, bound over the system's.
TEST(UnixUserTable, ReadsTheDatabases) {
  if (!test::canMount())
    GTEST_SKIP() << "needs a private mount namespace (root)";
  test::TempDir dir;
  std::string members;
  for (int i = 0; i < 20000; ++i)
    members += (i == 0 ? "member" : ",member") + std::to_string(i);
  test::writeFile(dir.file("passwd"),
                  "first:x:700001:1:First, Room 1:/:/bin/sh\n"
                  "first:x:700002:1:Second:/:/bin/sh\n"
                  "700004:x:700003:1::/:/bin/sh\n");
  test::writeFile(dir.file("group"), "crowd:x:700001:" + members + "\n");
  EXPECT_EQ("", test::inPrivateMounts([&]() -> std::string {
              for (const char* name : {"passwd", "group"})
                if (::mount(dir.file(name).c_str(), (std::string("/etc/") + name).c_str(), nullptr,
                            MS_BIND, nullptr) != 0)
                  return "cannot bind over /etc/" + std::string(name);
              UberTable uber;
              UnixUserTable table(uber);
              const UserOrGroup* first = table.lookup(Sid(700001), false);
              if (describe(*first) != "first|First, Room 1|700001|0|1|0|-1|-1")
                return "first user: " + describe(*first);
              if (table.lookup(Sid(700002), false) != first)
                return "two ids of one name have two records";
              // An unknown id shares the record of a user who is named by that number.
              if (table.lookup(Sid(700003), false) != table.lookup(Sid(700004), false))
                return "an unknown id does not share the record of its number";
              if (const auto* crowd = table.lookup(Sid(700001), true);
                  describe(*crowd) != "crowd||0|700001|2|0|-1|-1")
                return "large group: " + describe(*crowd);
              return "";
            }));
}

}  // namespace
}  // namespace orv
