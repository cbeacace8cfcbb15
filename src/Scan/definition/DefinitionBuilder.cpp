#include "Scan/definition/DefinitionBuilder.h"

#include <new>
#include <utility>

#include "Probe/NasFiler.h"
#include "Scan/definition/AgentScan.h"
#include "runtime/nls/MessageLog.h"
#include "runtime/ut/ORVException.h"
#include "runtime/ut/Text.h"
#include "runtime/ut/Trace.h"

namespace orv {

DefinitionBuilder::DefinitionBuilder(const std::string& file, AgentScan& agentScan)
    : m_file(file), m_reader(file), m_agentScan(agentScan) {}

void DefinitionBuilder::build() {
  TRACE_METHOD("buildDefinition()");
  // The reader hands out bare pointers; they have an owner from here on.
  std::unique_ptr<Entity> ef(m_reader.findNextEntity(nullptr));
  while (ef) {
    TRACE(TR_GENERAL, "found entity: %s", ef->name.c_str());
    if (ef->name == AgentScan::ENTITY_NAME) {
      TRACE(TR_GENERAL, "AgentScan found");
      m_hasJob = true;
      buildAgentScan(*ef);
    }
    ef.reset(m_reader.findNextEntity(ef.get()));
  }
  reportDoubts();
  TRACE(TR_GENERAL, "END OF <while( (efNext = pa->findNextEntity(ef)) != NULL )>.");
}

// What the file holds is scanned as it stands, but a file that was cut or changed on its way may
// hold less than was meant.
void DefinitionBuilder::reportDoubts() {
  if (!m_hasJob) {
    issueMessage(msg::STA0560E, {m_file, AgentScan::ENTITY_NAME,
                                 !m_reader.hasHeader()      ? "none of its lines reads [Header]"
                                 : !m_reader.hasHeaderEnd() ? "no line reads [/Header]"
                                                            : "no such tag follows the header"});
    return;
  }
  if (const std::string imbalance = m_reader.imbalance(); !imbalance.empty())
    issueMessage(msg::STA0561W, {m_file, imbalance});
}

// Hands the rows on one by one, for an entity may have any number of them. They are read to their
// end first: a file that ends among them is refused as such, whatever its rows hold.
template <typename Mapper>
void DefinitionBuilder::forEachRow(Entity& entity, Mapper map) {
  const auto firstRow = entity.dataPointer;
  DataArray row(1);
  while (m_reader.getEntityRow(entity, row.front())) {
  }
  entity.dataPointer = firstRow;
  if (!m_reader.getEntityRow(entity, row.front()))
    // An entity without rows is handed on all the same: a mapper says itself what it lacks.
    row.clear();
  try {
    do {
      map(row);
    } while (!row.empty() && m_reader.getEntityRow(entity, row.front()));
  } catch (OrvObjectCreationException& exception) {
    // The row that was read last, or the tag when there is none.
    exception.message = formatText("line %lld gives the entity %s %zu values, its header names %zu",
                                   m_reader.lineNumber(entity.dataPointer) - 1, entity.name.c_str(),
                                   row.empty() ? 0 : row.front().size(),
                                   m_reader.getEntityHeader(entity.name).size());
    throw;
  }
}

// Objects of one row take the first, or none.
void DefinitionBuilder::fill(Entity& entity, EntityToObjectMapper& object) {
  const auto header = m_reader.getEntityHeader(entity.name);
  bool isFirst = true;
  forEachRow(entity, [&](const DataArray& row) {
    if (std::exchange(isFirst, false))
      object.inititializeObject(header, row);
  });
}

// The children are found first: each is then visited at the positions it recorded itself.
template <typename Handler>
void DefinitionBuilder::forEachChild(Entity& entity, Handler handler) {
  std::vector<std::unique_ptr<Entity>> children;
  for (Entity* child : m_reader.getEntityChildren(&entity))
    children.emplace_back(child);
  // The reader has told about it and gone on: half a job must not pass for the whole one.
  if (m_reader.hasLostChildren())
    throw std::bad_alloc();
  TRACE(TR_GENERAL, "found %zu to get the sub-level-entities", children.size());
  for (const auto& child : children) {
    TRACE(TR_GENERAL, "found subentity: %s", child->name.c_str());
    if (!handler(*child))
      TRACE(TR_MAX, "subentity %s of %s is not known here and is skipped", child->name.c_str(),
            entity.name.c_str());
  }
}

void DefinitionBuilder::buildAgentScan(Entity& entity) {
  fill(entity, m_agentScan);
  TRACE(TR_GENERAL, "trying to get the sub-level-entities");
  forEachChild(entity, [this](Entity& child) { return buildSubEntity(child); });
}

bool DefinitionBuilder::buildSubEntity(Entity& entity) {
  struct Row {
    const char* name;
    void (DefinitionBuilder::*build)(Entity&);
  };
  static constexpr Row ROWS[] = {{Filesystem::ENTITY_NAME, &DefinitionBuilder::buildFilesystem},
                                 {MonDirSpec::ENTITY_NAME, &DefinitionBuilder::buildDirectory},
                                 {CuStatDef::ENTITY_NAME, &DefinitionBuilder::buildProfile}};
  for (const Row& row : ROWS) {
    if (entity.name != row.name)
      continue;
    (this->*row.build)(entity);
    return true;
  }
  return false;
}

void DefinitionBuilder::buildFilesystem(Entity& entity) {
  auto filesystem = std::make_unique<Filesystem>();
  fill(entity, *filesystem);
  forEachChild(entity, [this, &filesystem](Entity& child) {
    if (child.name != NasFiler::ENTITY_NAME)
      return false;
    filesystem->nasFiler = buildNasFiler(child);
    return true;
  });
  // Last: a filer that is refused must leave no half of a filesystem behind.
  m_agentScan.addFilesystem(std::move(filesystem));
}

std::unique_ptr<NasFiler> DefinitionBuilder::buildNasFiler(Entity& entity) {
  auto filer = std::make_unique<NasFiler>();
  fill(entity, *filer);
  forEachChild(entity, [this, &filer](Entity& child) {
    if (child.name != Domain::ENTITY_NAME)
      return false;
    filer->domain = std::make_unique<Domain>();
    fill(child, *filer->domain);
    return true;
  });
  return filer;
}

void DefinitionBuilder::buildDirectory(Entity& entity) {
  auto directory = std::make_unique<MonDirSpec>();
  const auto header = m_reader.getEntityHeader(entity.name);
  forEachRow(entity, [&](const DataArray& row) { directory->inititializeObject(header, row); });
  m_agentScan.addDirectory(std::move(directory));
}

void DefinitionBuilder::buildProfile(Entity& entity) {
  auto profile = std::make_unique<CuStatDef>();
  fill(entity, *profile);
  forEachChild(entity, [this, &profile](Entity& child) {
    // The filesystems that a profile is for come as results that are still empty.
    if (child.name == "ResultsByFS") {
      const auto header = m_reader.getEntityHeader(child.name);
      forEachRow(child, [&](const DataArray& row) { profile->addListedFilesystems(header, row); });
      return true;
    }
    if (child.name != FileScoreRule::ENTITY_NAME)
      return false;
    profile->sdFileScoreRules.push_back(std::make_unique<FileScoreRule>());
    fill(child, *profile->sdFileScoreRules.back());
    return true;
  });
  m_agentScan.addStatistics(std::move(profile));
}

}  // namespace orv
