#include <functional>
#include <map>
#include <random>

#include "Scan/accumulate/AccumulatorFixture.h"
#include "Scan/definition/CuStatDef.h"
#include "Scan/share/LinkStore.h"
#include "Scan/share/SlurmQueue.h"
#include "Scan/share/StateMerge.h"
#include "Scan/unix/UnixUserTable.h"
#include "Scan/walk/Place.h"
#include "runtime/ut/Text.h"

namespace orv::share {
namespace {

// What one walk meets, put together again from the states of parts.
class ShareTest : public test::AccumulatorTest {
 protected:
  ShareTest() {
    profile.sdLargestFiles = profile.sdLeastAccessed = profile.sdOldestOrphans = 7;
    profile.sdLargestOrphans = profile.sdLargestFileTypes = 5;
    profile.sdSummary = 1;
    profile.sdSizeDistribution = profile.sdGroupByOwner = profile.sdGroupByGroup = true;
    profile.sdGroupByAccess = profile.sdGroupByMod = true;
  }

  std::uint32_t draw(std::uint32_t below) { return static_cast<std::uint32_t>(random() % below); }

  // Many files have equal figures, of which some rank.
  FileAttributes randomEntry(std::int64_t number) {
    FileAttributes info = entry(FT_REGULAR, draw(40) * 1000,
                                formatText("/e%d.x%u", static_cast<int>(number), draw(9)));
    info.faPlace = place::ROOT;
    place::append(info.faPlace, static_cast<std::uint64_t>(number));
    info.ownerId = draw(5);
    info.groupId = draw(4);
    info.faAccessed = info.faModified = -86'400'000 * std::int64_t{draw(40)};
    info.faAttributes = draw(2) == 0 ? FA_ORPHAN : 0;
    info.faInodeNumber = draw(60);
    info.faLinkCount = info.faInodeNumber < 40 ? 2 : 1;
    resolve(info, merger);
    return info;
  }

  std::unique_ptr<CuStatAccum> newAccum() {
    auto accum = std::make_unique<CuStatAccum>();
    accum->buildAccum(profile, filesystem, 5000);
    accum->beInside();
    return accum;
  }
  static std::string text(CuStatAccum& accum) {
    return test::printed([&](GenericPrint& print) { accum.results()->printData(print); });
  }

  // The state of one part, as a share writes it.
  void writePart(const std::string& file, std::vector<FileAttributes>& entries) {
    StateWriter writer(file, {"run", 1, 0, 0, "node", {}});
    const auto accum = newAccum();
    accum->gatherPart(std::make_unique<LinkStore>(dir.path(), memory));
    for (FileAttributes& info : entries)
      accum->actUpon(&merger, &info);
    writer.container({"\x02", 0, false, {}});
    static_cast<LinkStore&>(*accum->firstNames())
        .drain([&](FileAttributes& name) { writer.firstName(name); }, [](FileAttributes&) {});
    accum->save(writer);
    writer.close({std::ssize(entries), 0, 0});
  }

  // Merges into one container and, with a writer, its state.
  class Target final : public MergeTarget {
   public:
    Target(CuStatAccum& accum, StateWriter* writer) : m_accum(accum), m_writer(writer) {}
    CuStatAccum& begin(const Container& container) override {
      if (m_writer != nullptr)
        m_writer->container(container);
      return m_accum;
    }
    void firstName(const FileAttributes& info) override {
      if (m_writer != nullptr)
        m_writer->firstName(info);
    }
    void end() override { m_writer == nullptr ? m_accum.finishParts() : m_accum.save(*m_writer); }
    void met(const Met&) override {}
    void message(const std::string&) override {}

   private:
    CuStatAccum& m_accum;
    StateWriter* m_writer;
  };

  UberTable uber;
  UnixUserTable named{uber};
  FileTypeTable mergedTypes;
  StillScanner scanner{filesystem, {}, named, types};
  StillScanner merger{filesystem, {}, named, mergedTypes};
  CuStatDef profile;
  LinkMemory memory;
  test::TempDir dir;
  std::mt19937 random{7};
};

// However the entries are dealt out, and in whatever groups the states are merged.
TEST_F(ShareTest, resultsDoNotDependOnHowATreeWasDivided) {
  std::vector<FileAttributes> entries;
  const auto whole = newAccum();
  for (int i = 0; i < 700; ++i) {
    entries.push_back(randomEntry(i));
    // One walk over all of them knows no places.
    FileAttributes info = entries.back();
    info.faPlace.clear();
    whole->actUpon(&scanner, &info);
  }
  whole->finishParts();
  for (int round = 0; round < 12; ++round) {
    std::vector<std::vector<FileAttributes>> parts(2 + draw(12));
    for (const FileAttributes& info : entries)
      parts[draw(static_cast<std::uint32_t>(parts.size()))].push_back(info);
    std::vector<std::string> states;
    for (auto& part : parts) {
      states.push_back(dir.file(std::to_string(states.size())));
      writePart(states.back(), part);
    }
    while (states.size() > 3) {
      std::ranges::shuffle(states, random);
      const std::vector<std::string> some(states.end() - 2 - draw(2), states.end());
      states.resize(states.size() - some.size());
      states.push_back(some.front() + "+");
      StateWriter writer(states.back(), {"run", 0, 0, 0, "node", {}});
      const auto accum = newAccum();
      Target target(*accum, &writer);
      writer.close(mergeStates(some, "run", merger, target));
    }
    const auto accum = newAccum();
    Target target(*accum, nullptr);
    EXPECT_EQ(mergeStates(states, "run", merger, target).entries, 700);
    mergedTypes.numberByPlace();
    EXPECT_EQ(text(*accum), text(*whole)) << round;
  }
}

// Whether names stay in memory or are put away, every one is told once, and each inode's first one.
TEST_F(ShareTest, linkedNamesAreToldOnceWhetherPutAwayOrNot) {
  for (const std::uint32_t names : {500, 40'000, 40'000}) {
    LinkStore store(dir.path(), memory);
    std::map<std::uint64_t, std::string> firstPlaces;
    std::uint32_t told = 0;
    for (std::uint32_t i = 0; i < names; ++i) {
      FileAttributes info = entry(FT_REGULAR, 1, std::string(100 + draw(900), 'n'));
      place::append(info.faPlace, i);
      info.faInodeNumber = std::uint64_t{draw(9000)} << (draw(2) * 40);
      firstPlaces.try_emplace(info.faInodeNumber, info.faPlace);
      told += store.isFirst(info) ? 0 : 1;
    }
    std::map<std::uint64_t, std::string> found;
    store.drain(
        [&](const FileAttributes& info) {
          EXPECT_TRUE(found.empty() || found.rbegin()->first < info.faInodeNumber);
          found[info.faInodeNumber] = info.faPlace;
          ++told;
        },
        [&](const FileAttributes&) { ++told; });
    EXPECT_EQ(told, names);
    EXPECT_EQ(found, firstPlaces);
    // As if many other stores held something: the next one puts away little at a time.
    while (names > 500 && memory.share() > LinkMemory::LEAST)
      memory.filled();
  }
}

// Whatever becomes of its bytes, a state is refused, and who reads on meets no more than its end.
TEST_F(ShareTest, statesThatWereCutOrChangedAreRefused) {
  std::vector<FileAttributes> entries = {randomEntry(1), randomEntry(2), randomEntry(3)};
  profile.sdSizeDistribution = profile.sdGroupByAccess = false;
  writePart(dir.file("whole"), entries);
  const std::string whole = test::readFile(dir.file("whole"));
  const auto expectRefused = [&](const std::string& bytes, std::size_t at) {
    test::writeFile(dir.file("state"), bytes);
    EXPECT_THROW(StateReader::verify(dir.file("state")), StateError) << at;
    try {
      StateReader reader(dir.file("state"), "run");
      for (Record record; reader.next(record);) {
      }
    } catch (const StateError&) {
    }
  };
  StateReader::verify(dir.file("whole"));
  for (std::size_t at = 0; at < whole.size(); ++at) {
    expectRefused(whole.substr(0, at), at);
    for (const int flip : {0x01, 0x80, 0xff})
      expectRefused(std::string(whole).replace(at, 1, 1, static_cast<char>(whole[at] ^ flip)), at);
  }
}

// Places sort as a walk meets entries, and those of directories with BEHIND as it leaves them.
TEST(SlurmQueueTest, tasksAreReadFromWhatSqueueSays) {
  using namespace std::chrono_literals;
  const SlurmQueue queue = queueOf(
      "CLUSTER: far\n7_0 RUNNING 1-02:03:04 None\n7_1 PENDING UNLIMITED Priority, or so \n\n"
      "7_2 COMPLETING 9:00 None\n7_3 RUNNING 0:59");
  ASSERT_EQ(queue.size(), 3U);
  EXPECT_GT(queue.at("7_0").limit, std::chrono::steady_clock::now() + 26h);
  EXPECT_EQ(queue.at("7_1").reason, "Priority, or so");
  EXPECT_EQ(queue.at("7_1").limit, std::chrono::steady_clock::time_point::max());
  EXPECT_LT(queue.at("7_3").limit, std::chrono::steady_clock::now() + 1min);
}

TEST_F(ShareTest, placesSortAsAWalkGoes) {
  std::vector<std::string> met, left;
  std::function<void(const std::string&, int)> walk = [&](const std::string& directory, int level) {
    EXPECT_EQ(place::levelOf(directory), level);
    met.push_back(directory);
    std::uint64_t position = draw(3) == 0 ? 238 : 0;
    for (int count = level > 4 ? 0 : 4; count > 0; --count) {
      std::string child = directory;
      place::append(child, position);
      walk(child, level + 1);
      position += 1 + (std::uint64_t{draw(2)} << draw(36));
    }
    left.push_back(directory + place::BEHIND);
  };
  walk(std::string(place::ROOT), 0);
  EXPECT_TRUE(std::ranges::is_sorted(met));
  EXPECT_TRUE(std::ranges::is_sorted(left));
}

}  // namespace
}  // namespace orv::share
