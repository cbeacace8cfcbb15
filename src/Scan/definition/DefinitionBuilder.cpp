#include "Scan/definition/DefinitionBuilder.h"

#include "Probe/NasFiler.h"
#include "Scan/definition/AgentScan.h"
#include "runtime/ut/Trace.h"

namespace orv {

DefinitionBuilder::DefinitionBuilder(const std::string& file, AgentScan& agentScan)
    : m_reader(file), m_agentScan(agentScan) {}

void DefinitionBuilder::build() {
  TRACE_METHOD("buildDefinition()");
  std::unique_ptr<Entity> ef(m_reader.findNextEntity(nullptr));
  while (ef) {
    TRACE(TR_GENERAL, "found entity: %s", ef->name.c_str());
    if (ef->name == AgentScan::ENTITY_NAME) {
      TRACE(TR_GENERAL, "AgentScan found");
      buildAgentScan(*ef);
    }
    ef.reset(m_reader.findNextEntity(ef.get()));
  }
  TRACE(TR_GENERAL, "END OF <while( (efNext = pa->findNextEntity(ef)) != NULL )>.");
}

void DefinitionBuilder::fill(Entity& entity, EntityToObjectMapper& object) {
  const auto header = m_reader.getEntityHeader(entity.name);
  object.inititializeObject(header, m_reader.getEntityData(&entity));
}

// The children are found first: each is then visited at the positions it recorded itself.
template <typename Handler>
void DefinitionBuilder::forEachChild(Entity& entity, Handler handler) {
  std::vector<std::unique_ptr<Entity>> children;
  for (Entity* child : m_reader.getEntityChildren(&entity))
    children.emplace_back(child);
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
  fill(entity, *directory);
  m_agentScan.addDirectory(std::move(directory));
}

void DefinitionBuilder::buildProfile(Entity& entity) {
  auto profile = std::make_unique<CuStatDef>();
  fill(entity, *profile);
  forEachChild(entity, [this, &profile](Entity& child) {
    if (child.name == "ResultsByFS") {
      profile->addListedFilesystems(m_reader.getEntityHeader(child.name),
                                    m_reader.getEntityData(&child));
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
