#pragma once

#include <memory>
#include <string>

#include "Common/format/EntityToObjectMapper.h"
#include "Common/format/ParserAPI.h"

namespace orv {

class AgentScan;
class NasFiler;

// Builds the definition objects of one job from its definition file. Used once, by the driver.
// Reader and mapper exceptions (ORVParserException, OrvObjectCreationException) pass through.
class DefinitionBuilder final {
 public:
  // Opens the file; `agentScan` receives the objects and must outlive the builder.
  DefinitionBuilder(const std::string& file, AgentScan& agentScan);

  // Walks the entities to the end of the file. A file without the job's entity, and one whose tags
  // are not balanced, is taken for what it holds and said to the log.
  void build();

 private:
  using Entity = ParserAPI::Entity;

  void buildAgentScan(Entity& entity);
  [[nodiscard]] bool buildSubEntity(Entity& entity);
  void buildFilesystem(Entity& entity);
  [[nodiscard]] std::unique_ptr<NasFiler> buildNasFiler(Entity& entity);
  void buildDirectory(Entity& entity);
  void buildProfile(Entity& entity);
  void fill(Entity& entity, EntityToObjectMapper& object);
  template <typename Mapper>
  void forEachRow(Entity& entity, Mapper map);
  void reportDoubts();
  template <typename Handler>
  void forEachChild(Entity& entity, Handler handler);

  std::string m_file;
  ParserAPI m_reader;
  AgentScan& m_agentScan;
  bool m_hasJob = false;
};

}  // namespace orv
