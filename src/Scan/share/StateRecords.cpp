#include "Scan/share/StateRecords.h"

#include <share.pb.h>

namespace orv::share {
namespace {

void take(const record::Entry& entry, FileAttributes& info) {
  info.faName = entry.name();
  info.faPlace = entry.place();
  info.faType = static_cast<std::uint8_t>(entry.type());
  info.ownerId = entry.owner();
  info.groupId = entry.group();
  // Pointers mean nothing elsewhere: who reads the record looks its ids up again.
  info.faOwner = info.faGroup = nullptr;
  info.faModified = entry.modified();
  info.faAccessed = entry.accessed();
  info.faBlocks = entry.blocks();
  info.faLength = entry.length();
  info.faAttributes = entry.attributes();
  info.faLinkCount = entry.links();
  info.faInodeNumber = entry.inode();
}

void take(const record::Monitored& message, Monitored& monitored) {
  take(message.directory(), monitored.directory);
  monitored.specs.assign(message.specs().begin(), message.specs().end());
}

void take(const record::Header& message, Header& header) {
  header = {message.run(),    message.share(), message.scan_start(),
            message.budget(), message.node(),  {message.root_inode(), message.root_magic()}};
}

void take(const record::Container& message, Container& container) {
  container.order = message.order();
  container.profile = message.profile();
  // Without a directory it is the filesystem's own.
  container.isDirectory = message.has_directory();
  if (container.isDirectory)
    take(message.directory(), container.monitored);
}

void take(const record::Row& message, Record& record) {
  record.accumulator = message.accumulator();
  record.row.key = message.key();
  record.row.place = message.place();
  record.row.figures.assign(message.figures().begin(), message.figures().end());
  // One record is read into again and again: without this flag an older entry would show.
  record.row.hasEntry = message.has_entry();
  if (record.row.hasEntry)
    take(message.entry(), record.row.entry);
}

void take(const record::LeftOver& message, LeftOver& leftOver) {
  take(message.directory(), leftOver.directory);
  leftOver.inside.resize(static_cast<std::size_t>(message.inside_size()));
  for (int i = 0; i < message.inside_size(); ++i)
    take(message.inside(i), leftOver.inside[static_cast<std::size_t>(i)]);
}

}  // namespace

void fill(record::Entry& entry, const FileAttributes& info) {
  entry.set_name(info.faName);
  entry.set_place(info.faPlace);
  entry.set_type(info.faType);
  entry.set_owner(info.ownerId);
  entry.set_group(info.groupId);
  entry.set_modified(info.faModified);
  entry.set_accessed(info.faAccessed);
  entry.set_blocks(info.faBlocks);
  entry.set_length(info.faLength);
  entry.set_attributes(info.faAttributes);
  entry.set_links(info.faLinkCount);
  entry.set_inode(info.faInodeNumber);
}

void fill(record::Monitored& message, const Monitored& monitored) {
  fill(*message.mutable_directory(), monitored.directory);
  for (const std::int32_t spec : monitored.specs)
    message.add_specs(spec);
}

void fill(record::Header& message, const Header& header) {
  message.set_run(header.run);
  message.set_share(header.share);
  message.set_scan_start(header.scanStart);
  message.set_budget(header.budget);
  message.set_node(header.node);
  message.set_root_inode(header.root.inode);
  message.set_root_magic(header.root.magic);
}

void fill(record::Container& message, const Container& container) {
  message.set_order(container.order);
  message.set_profile(container.profile);
  if (container.isDirectory)
    fill(*message.mutable_directory(), container.monitored);
}

void fill(record::Met& message, const Met& met) {
  message.set_is_group(met.isGroup);
  message.set_id(met.id);
  message.set_place(met.place);
}

void fill(record::LeftOver& message, const LeftOver& leftOver) {
  fill(*message.mutable_directory(), leftOver.directory);
  for (const Monitored& monitored : leftOver.inside)
    fill(*message.add_inside(), monitored);
}

bool take(const record::Record& message, Record& record) {
  using Content = record::Record;
  switch (message.content_case()) {
    case Content::kHeader:
      record.kind = Record::Kind::HEADER;
      take(message.header(), record.header);
      return true;
    case Content::kContainer:
      record.kind = Record::Kind::CONTAINER;
      take(message.container(), record.container);
      return true;
    case Content::kFirstName:
      record.kind = Record::Kind::FIRST_NAME;
      take(message.first_name(), record.name);
      return true;
    case Content::kRow:
      record.kind = Record::Kind::ROW;
      take(message.row(), record);
      return true;
    case Content::kMet:
      record.kind = Record::Kind::MET;
      record.met = {message.met().is_group(), message.met().id(), message.met().place()};
      return true;
    case Content::kLeftOver:
      record.kind = Record::Kind::LEFT_OVER;
      take(message.left_over(), record.leftOver);
      return true;
    case Content::kMessage:
      record.kind = Record::Kind::MESSAGE;
      record.message = message.message();
      return true;
    case Content::kTrailer:
      record.kind = Record::Kind::TRAILER;
      record.trailer = {message.trailer().entries(), message.trailer().code(),
                        message.trailer().milliseconds()};
      return true;
    // Of a later program, or empty.
    default:
      return false;
  }
}

std::string packed(const FileAttributes& info) {
  record::Entry entry;
  fill(entry, info);
  return entry.SerializeAsString();
}

FileAttributes unpacked(std::string_view bytes) {
  record::Entry entry;
  // This process wrote it itself: what does not fit was damaged, it is of no other version.
  if (!entry.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())))
    throw StateError("read a name that was put away: it was changed");
  FileAttributes info;
  take(entry, info);
  return info;
}

}  // namespace orv::share
