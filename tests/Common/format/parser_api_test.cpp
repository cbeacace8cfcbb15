#include "Common/format/ParserAPI.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <limits>
#include <memory>

#include "runtime/ut/ORVException.h"
#include "runtime/ut/UniqueFd.h"
#include "support/TempDir.h"

namespace orv {
namespace {

using Entity = ParserAPI::Entity;
using Owned = std::unique_ptr<Entity>;

// The code and text of what `action` throws; code 0 when it throws nothing.
ORVParserException thrownBy(const std::function<void()>& action) {
  try {
    action();
  } catch (const ORVParserException& error) {
    return error;
  }
  return {0, ""};
}

class ParserAPITest : public ::testing::Test {
 protected:
  std::unique_ptr<ParserAPI> read(const std::string& text, bool needNumEntities = false) {
    test::writeFile(path, text);
    return std::make_unique<ParserAPI>(path, needNumEntities);
  }

  // Names and qualifiers of the entities that follow one another, as "A B,1 C".
  static std::string walk(ParserAPI& reader) {
    std::string names;
    for (Owned at(reader.findNextEntity(nullptr)); at; at.reset(reader.findNextEntity(at.get())))
      names += nameOf(*at) + " ";
    return names;
  }

  static std::string children(ParserAPI& reader, Entity& parent) {
    std::string names;
    for (Entity* child : reader.getEntityChildren(&parent))
      names += nameOf(*Owned(child)) + " ";
    return names;
  }

  static std::string nameOf(const Entity& entity) {
    return entity.name + (entity.qualifier.empty() ? "" : "," + entity.qualifier);
  }

  test::TempDir directory;
  const std::string path = directory.file("job.dat");
};

const char* const EXAMPLE =
    "DO NOT EDIT\n"
    "[Header]\n"
    "[Scan]\nname,computer\nsecond,line\n"
    "[Disk,12]\nid\n"
    "[/Header]\n"
    "[Scan]\n"
    "\"a job\",7\n"
    "[Disk,12]\n1\n2\n[Filer]\n9\n[/Filer]\n[/Disk]\n"
    "[Profile]\n3\n[/Profile]\n"
    "[/Scan]\n"
    "[Next]\n[/Next]\n";

TEST_F(ParserAPITest, readsHeaderEntitiesRowsAndChildren) {
  std::string crlf;
  std::string indented;
  for (const char* c = EXAMPLE; *c != '\0'; ++c) {
    crlf += *c == '\n' ? "\r\n" : std::string(1, *c);
    indented += *c == '\n' ? " \f\n \t" : std::string(1, *c);
  }
  const std::string unterminated(EXAMPLE, std::string(EXAMPLE).size() - 1);
  for (const std::string& text : {std::string(EXAMPLE), crlf, indented, unterminated}) {
    SCOPED_TRACE(text);
    const auto reader = read(text);
    EXPECT_EQ(reader->getEntityHeader("Scan"), (HeaderArray{"name", "computer"}));
    EXPECT_EQ(reader->getEntityHeader("Disk,12"), HeaderArray{"id"});

    const Owned scan(reader->findFirstEntity(true));
    ASSERT_NE(scan, nullptr);
    EXPECT_EQ(reader->getEntityData(scan.get()), (DataArray{{"a job", "7"}}));
    EXPECT_EQ(children(*reader, *scan), "Disk,12 Profile ");

    const auto bare = reader->getEntityChildren(scan.get());
    const Owned disk(bare.at(0));
    const Owned profile(bare.at(1));
    EXPECT_EQ(reader->getEntityData(profile.get()), (DataArray{{"3"}}));
    EXPECT_EQ(reader->getEntityData(disk.get()), (DataArray{{"1"}, {"2"}}));
    EXPECT_EQ(children(*reader, *disk), "Filer ");

    // Behind the last child comes the parent's next sibling.
    const Owned next(reader->findNextEntity(profile.get()));
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->name, "Next");
    EXPECT_EQ(Owned(reader->findNextEntity(next.get())), nullptr);
    EXPECT_EQ(walk(*read(text)), "Scan Next ");
  }
}

TEST_F(ParserAPITest, onlyExactTagsAreTags) {
  const auto reader = read(
      "[Header]\n[/Header]\n"
      "[A]\n[Ab,]\n[,Ab]\n[Ab,C,D]\n[Ab c]\n[A-b]\n[Ab]x\n[Header]\n[]\n[Ab\n"
      "\v[Vt]\n[/Vt]\n"  // what is not trimmed is still white space to the pattern
      "[Ab]\n[/Ab,1]\n[In]\n[/In]\n[/Ab]\n[Ab,12]\n[/Ab]\n[99]\n[/99]\n");
  EXPECT_EQ(walk(*reader), "Vt Ab Ab,12 99 ");
}

TEST_F(ParserAPITest, linesSplitIntoValues) {
  const struct {
    const char* line;
    std::vector<std::string> values;
  } rows[] = {
      {"a,b", {"a", "b"}},
      {"a,,b", {"a", "b"}},
      {",a,", {"a"}},
      {"a,null,b", {"a", "", "b"}},
      {"\"null\"", {"null"}},
      {"\"x,y\",z", {"x,y", "z"}},
      {R"("say ""hi"", you",1)", {"say \"hi\", you", "1"}},
      {R"("""",2)", {"\"", "2"}},
      {R"("",2)", {"", "2"}},
      {R"("a"b,"c)", {"\"a\"b", "\"c"}},
      {R"(a"b,c"d,e)", {"a\"b,c\"d", "e"}},
      {R"(C:\x,\")", {"C:\\x", "\\\""}},
      {",", {}},
  };
  for (const auto& row : rows) {
    const auto reader = read(std::string("[Ab]\n") + row.line + "\n[/Ab]\n[Header]\n[Ab]\n" +
                             row.line + "\n[/Header]\n");
    SCOPED_TRACE(row.line);
    EXPECT_EQ(reader->getEntityHeader("Ab"), row.values);
    Entity start{"Ab", 0, 5, ""};  // 5: behind "[Ab]\n"
    EXPECT_EQ(reader->getEntityData(&start), DataArray{row.values});
  }
}

TEST_F(ParserAPITest, rowsEndAtAnEmptyLine) {
  const auto reader = read("[Header]\n[/Header]\n[Ab]\n1\n2\n\n3\n[Cd]\n[/Cd]\n[/Ab]\n");
  const Owned entity(reader->findNextEntity(nullptr));
  EXPECT_EQ(reader->getEntityData(entity.get()), (DataArray{{"1"}, {"2"}}));
  EXPECT_EQ(reader->getEntityData(entity.get()), (DataArray{{"1"}, {"2"}}));
  EXPECT_EQ(children(*reader, *entity), "Cd ");
}

TEST_F(ParserAPITest, countedReadsContinue) {
  const auto reader = read("[Header]\n[/Header]\n[Ab]\n1\n2\n3\n[/Ab]\n");
  const Owned entity(reader->findNextEntity(nullptr));
  EXPECT_EQ(reader->getEntityData(entity.get(), 0), DataArray{});
  EXPECT_EQ(reader->getEntityData(entity.get(), 2), (DataArray{{"1"}, {"2"}}));
  EXPECT_EQ(reader->getEntityData(entity.get()), (DataArray{{"3"}}));
  EXPECT_EQ(reader->getEntityData(entity.get(), 2), (DataArray{{"3"}}));
  EXPECT_EQ(reader->getEntityData(entity.get(), 2), DataArray{});
  EXPECT_EQ(entity->dataPointer, entity->filePointer);
}

TEST_F(ParserAPITest, fileThatEndsInsideAnEntity) {
  const auto cut = read("[Header]\n[/Header]\n[Ab]\n1\n");
  const Owned entity(cut->findNextEntity(nullptr));
  const ORVParserException error = thrownBy([&] { cut->getEntityData(entity.get()); });
  EXPECT_EQ(error.code, 17);
  EXPECT_EQ(
      error.message,
      "ERROR on executing getLine() in ParserAPI::getEntityData(). ERRORCODE: 17 File Name: " +
          path);
  EXPECT_EQ(children(*cut, *entity), "");
  EXPECT_EQ(Owned(cut->findNextEntity(entity.get())), nullptr);

  // Without a line break behind it the last line is still read, and its end is known.
  const std::string text = "[Header]\n[/Header]\n[Ab]\n1";
  const auto unterminated = read(text);
  const Owned last(unterminated->findNextEntity(nullptr));
  EXPECT_EQ(unterminated->getEntityData(last.get()), (DataArray{{"1"}}));
  EXPECT_EQ(last->filePointer, static_cast<int>(text.size()));
  EXPECT_EQ(Owned(unterminated->findNextEntity(last.get())), nullptr);
}

// The part of each file behind its header, and the walk over it.
TEST_F(ParserAPITest, tagsAreBalancedByDepthAlone) {
  const struct {
    const char* text;
    const char* walk;
  } rows[] = {
      // A nested entity of the same name does not close its parent.
      {"[Ab]\n[Ab]\n[/Ab]\n[/Ab]\n[Cd]\n", "Ab Cd "},
      // The foreign close tag takes the depth to -1, [Cd] brings it back to 0.
      {"[Ab]\n[/Xx]\n[Cd]\n[/Ab]\n[Ef]\n[/Ef]\n", "Ab Ef "},
      // At depth -1 the close tag does not count, it takes the depth to -2.
      {"[Ab]\n[/Xx]\n[/Ab]\n[Cd]\n[Ef]\n[/Ab]\n[Gh]\n", "Ab Gh "},
  };
  for (const auto& row : rows)
    EXPECT_EQ(walk(*read(std::string("[Header]\n[/Header]\n") + row.text)), row.walk) << row.text;
}

TEST_F(ParserAPITest, headerTableKeepsTheFirstLineOfAKey) {
  const auto reader = read(
      "before\n[Header]\nloose\n[Ab]\n\none,two\nlater\n[Cd]\nc\n[Ab]\nagain\n[/Header]\n"
      "[Ef]\ne\n[/Ef]\n");
  EXPECT_EQ(reader->getEntityHeader(""), HeaderArray{"loose"});
  EXPECT_EQ(reader->getEntityHeader("Ab"), (HeaderArray{"one", "two"}));
  EXPECT_EQ(reader->getEntityHeader("Cd"), HeaderArray{"c"});
  for (const char* missing : {"Ef", "A", "Ab,12"}) {
    const ORVParserException error = thrownBy([&] { (void)reader->getEntityHeader(missing); });
    EXPECT_EQ(error.code, 321);
    EXPECT_EQ(error.message, "Element %s not found on headerTable\n");
  }
}

TEST_F(ParserAPITest, countingFollowsTheCloseTagOfTheFirstTag) {
  const auto reader = read(
      "[Header]\n[Ab]\nx\n[Cd]\ny\n[/Header]\n"
      "[Ab]\n1\n[Cd]\n[/Cd]\n[/Ab]\n"
      "[Cd]\n[/Cd]\n[Open]\n",
      true);
  EXPECT_EQ(reader->getNumEntities(), 2);
  EXPECT_EQ(walk(*reader), "Ab Cd Open ");
  EXPECT_EQ(read("[Ab]\n[/Ab]\n")->getNumEntities(), 0);
}

TEST_F(ParserAPITest, unreadablePathsAreReported) {
  for (const auto& [file, code] :
       {std::pair(std::string(), 12), {directory.file("missing.dat"), 13}, {directory.path(), 13}})
    EXPECT_EQ(thrownBy([&, &name = file] { ParserAPI(name, false); }).code, code) << file;
}

// A sparse file whose tag ends behind the last position that 32 bits can hold.
TEST_F(ParserAPITest, positionsNeverWrapAround) {
  constexpr std::int32_t LAST = std::numeric_limits<std::int32_t>::max();
  constexpr std::string_view TAIL = "[/Ab]\n[Cd]\n";
  const auto reader = read(EXAMPLE);
  const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
  Entity entity{"Ab", LAST - 10, LAST - 10, ""};
  ASSERT_EQ(::pwrite(file.get(), TAIL.data(), TAIL.size(), entity.filePointer), 11);
  EXPECT_EQ(thrownBy([&] { Owned(reader->findNextEntity(&entity)); }).code, 17);

  entity.filePointer = LAST - 11;
  ASSERT_EQ(::pwrite(file.get(), TAIL.data(), TAIL.size(), entity.filePointer), 11);
  ASSERT_EQ(::ftruncate(file.get(), LAST), 0);
  const Owned last(reader->findNextEntity(&entity));
  ASSERT_NE(last, nullptr);
  EXPECT_EQ(last->filePointer, LAST);
}

}  // namespace
}  // namespace orv
