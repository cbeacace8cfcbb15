#include "Scan/job/ShareWalk.h"

#include <algorithm>

#include "Scan/definition/CuStatDef.h"
#include "Scan/share/StateMerge.h"
#include "Scan/walk/Place.h"

namespace orv {
namespace {

// What a walk returns that had to leave something out; codes above it mean that it failed.
constexpr int INCOMPLETE = 4;

}  // namespace

UserOrGroup* PlacedUsers::lookup(const Sid& sid, bool isGroup) {
  std::string& place = m_places[{isGroup, sid.id()}];
  // The first entry that shows the id: by its place the merger finds out which of several ids of
  // one name was met first.
  if (place.empty())
    place = m_scanner->currentEntry().faPlace;
  return m_users.lookup(sid, isGroup);
}

void PlacedUsers::save(share::StateWriter& writer) const {
  for (const auto& [key, place] : m_places)
    writer.met({key.first, key.second, place});
}

ShareWalk::ShareWalk(FSRef& ref, const WalkSetting& setting, const share::Share& share,
                     share::StateWriter& writer, std::string temporary)
    : m_ref(ref),
      m_setting(setting),
      m_share(share),
      m_writer(writer),
      m_temporary(std::move(temporary)),
      m_users(setting.users) {
  // That of the whole scan: ages of one tree have one reference.
  scanStart = share.header.scanStart;
  build();
}

ShareWalk::~ShareWalk() = default;

void ShareWalk::build() {
  for (const Assoc& assoc : m_ref.assocs) {
    m_containers.push_back(std::make_unique<CuStatAccum>());
    m_containers.back()->buildAccum(*assoc.profile, *m_ref.filesystem);
    // In a part nobody knows which name of a linked file a walk over the whole tree would meet
    // first.
    m_containers.back()->gatherPart(makeFirstNames());
    m_actions.push_back({m_containers.back().get(), &m_selections.of(*assoc.tree)});
  }
  m_watch = makeWatch(m_ref, m_setting.bindings, m_selections, this);
  if (m_watch)
    m_actions.push_back({m_watch.get(), nullptr});
}

int ShareWalk::walk() {
  int code = 0;
  // A share without roots is the first one: it begins where the scan does.
  share::LeftOver scanRoot;
  scanRoot.directory.faPlace = place::ROOT;
  if (m_share.roots.empty())
    code = walkFrom(scanRoot);
  for (const share::LeftOver& root : m_share.roots) {
    // One at least, or the scan would never come to its end.
    if (m_scanner && !mayEnter(root.directory, 0)) {
      m_writer.leftOver(root);
      continue;
    }
    code = std::max(code, walkFrom(root));
    // Nothing more is written: the state is dropped, for half a share cannot be merged.
    if (code > INCOMPLETE)
      return code;
  }
  if (m_watch)
    // Nothing encloses the end: what the last root lay in is done and gets written.
    m_watch->resume({}, 0);
  for (std::size_t i = 0; i < m_containers.size(); ++i)
    write(*m_containers[i], {FILESYSTEM_ORDER, numberOf(*m_ref.assocs[i].profile), false, {}});
  m_users.save(m_writer);
  return code;
}

int ShareWalk::walkFrom(const share::LeftOver& root) {
  m_root = &root.directory;
  if (m_watch)
    m_watch->resume(enclosing(root), place::levelOf(root.directory.faPlace));
  m_scanner =
      std::make_unique<ScannerUnix>(*m_ref.filesystem, m_actions, m_users, m_setting.fileTypes,
                                    WalkOptions{0, m_setting.threads, {}, nullptr, m_ref.root});
  m_scanner->setPart(*this);
  m_users.follow(*m_scanner);
  const int code = m_scanner->scan();
  m_entries += m_scanner->entriesMet();
  return code < 0 ? INCOMPLETE + 1 : code;
}

bool ShareWalk::mayEnter(const FileAttributes& directory, std::int64_t entries) {
  const std::int64_t left = m_share.header.budget - m_entries - entries;
  // A large directory would take the share far beyond its budget while others wait for work.
  const bool fits = directory.faLength < share::LARGE_DIRECTORY ||
                    directory.faLength / share::SMALLEST_NAME <= left;
  return left > 0 && fits;
}

void ShareWalk::leaveOver(const FileAttributes& directory) {
  // With all that it lies in: whoever walks it begins in the middle of the tree and meets none of
  // it.
  share::LeftOver left{directory, {}};
  if (m_watch)
    for (const auto& monitored : m_watch->enclosing())
      left.inside.push_back({*monitored, monitored->smDirSpecs});
  m_writer.leftOver(left);
}

// Parts that lie in the same directory must find the same record.
DirectoryWatch::Enclosing ShareWalk::enclosing(const share::LeftOver& root) {
  DirectoryWatch::Enclosing result;
  std::map<std::string, std::shared_ptr<SMonDir>> known;
  for (const share::Monitored& monitored : root.inside) {
    std::shared_ptr<SMonDir>& record = known[monitored.directory.faPlace];
    record = m_enclosing[monitored.directory.faPlace];
    if (!record) {
      record = std::make_shared<SMonDir>();
      static_cast<FileAttributes&>(*record) = monitored.directory;
      record->smFilesystemID = m_ref.filesystem->fsID;
      record->smFilesystem = m_ref.filesystem;
      record->smDirSpecs = monitored.specs;
    }
    result.push_back(record);
  }
  m_enclosing = std::move(known);
  return result;
}

std::unique_ptr<FirstNames> ShareWalk::makeFirstNames() {
  return std::make_unique<share::LinkStore>(m_temporary, m_linkMemory);
}

void ShareWalk::keep(CuStatAccum& container, const CuStatDef& profile, const SMonDir& directory) {
  // Behind everything that lies in it: there a single walk is done with a directory.
  write(container, {directory.faPlace + place::BEHIND,
                    numberOf(profile),
                    true,
                    {directory, directory.smDirSpecs}});
}

void ShareWalk::write(CuStatAccum& container, const share::Container& header) {
  // Before the figures are saved: draining counts the later names in them.
  m_writer.container(header);
  static_cast<share::LinkStore&>(*container.firstNames())
      .drain([this](FileAttributes& name) { m_writer.firstName(name); },
             [&](FileAttributes& name) {
               share::resolve(name, *m_scanner);
               container.countLaterName(*m_scanner, name);
             });
  container.save(m_writer);
}

std::uint32_t ShareWalk::numberOf(const CuStatDef& profile) const {
  // By number and not by name: the definition is the same file for all, names need not differ.
  std::uint32_t number = 0;
  for (const CuStatDef* at = m_setting.profiles; at != nullptr && at != &profile; at = at->sdNext)
    ++number;
  return number;
}

}  // namespace orv
