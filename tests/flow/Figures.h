#pragma once

#include <gtest/gtest.h>

#include <string>

#include "flow/Oracle.h"
#include "support/Job.h"

// Profiles of few figures, each compared with the oracle: for tests of which entries count.
namespace orv::test {

// The statistics that `expectFigures` compares.
inline const Fields FIGURES = {{"sdSummary", "Y"}, {"sdSizeDistribution", "Y"}};

// `clause` as the definition file holds it, without a blank in it: a blank behind every character.
inline std::string spaced(const std::string& clause) {
  std::string result;
  for (const char c : clause)
    result += std::string(1, c) + " ";
  return result;
}

inline Fields figuresOf(const std::string& clause) {
  Fields fields = FIGURES;
  fields.emplace_back("sdWhereClause", spaced(clause));
  return fields;
}

template <typename Values>
std::string listed(const Values& values) {
  std::string joined;
  for (const auto value : values)
    joined += (joined.empty() ? "" : ",") + std::to_string(value);
  return joined;
}

// `entry` is a ResultsByFS of a profile with FIGURES.
inline void expectFigures(const ResultNode& entry, const Oracle& oracle, const std::string& what) {
  const ResultNode& results = entry.one("CuStatResults");
  const Row& summary = results.one("SSummary").row();
  EXPECT_EQ(summary.at("sumFileCount"), std::to_string(oracle.files)) << what;
  EXPECT_EQ(summary.at("sumDirectoryCount"), std::to_string(oracle.directories)) << what;
  EXPECT_EQ(summary.at("sumTotalSize"), std::to_string(oracle.total)) << what;
  const Row& sizes = results.one("SSizeDist").row();
  EXPECT_EQ(sizes.at("szdSizes"), listed(oracle.sizes)) << what;
  EXPECT_EQ(sizes.at("szdCounts"), listed(oracle.counts)) << what;
}

}  // namespace orv::test
