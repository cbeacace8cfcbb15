#pragma once

#include <map>
#include <memory>

#include "Scan/job/Bindings.h"
#include "Scan/walk/Scanner.h"

namespace orv {

class DirectoryWatch;
class PartKeeper;

// The clauses of the job's profiles as one walk asks them: one per profile, however many actions.
class WalkSelections final {
 public:
  [[nodiscard]] EntrySelection& of(const Tree& tree) {
    return m_selections.try_emplace(&tree, tree.selection.get()).first->second;
  }

 private:
  std::map<const Tree*, EntrySelection> m_selections;
};

// The watch over the monitored directories of a filesystem; null when there are none, or nothing is
// gathered for them. `keeper` as for DirectoryWatch.
[[nodiscard]] std::unique_ptr<DirectoryWatch> makeWatch(const FSRef& ref, const Bindings& bindings,
                                                        WalkSelections& selections,
                                                        PartKeeper* keeper);

}  // namespace orv
