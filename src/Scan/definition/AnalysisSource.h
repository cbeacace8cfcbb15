#pragma once

#include <string>

namespace orv {

// Where the figures of an analysis come from: what names them in the report.
class AnalysisSource {
 public:
  AnalysisSource() = default;
  virtual ~AnalysisSource() = default;
  AnalysisSource(const AnalysisSource&) = delete;
  AnalysisSource& operator=(const AnalysisSource&) = delete;

  // The name under which users know the source.
  [[nodiscard]] virtual std::string getSdName() const = 0;

  // Hooks for sources that are kept in profiles of their own; those of the scan are not.
  virtual void parseForProfile() = 0;
  virtual void writeForProfile() = 0;
};

}  // namespace orv
