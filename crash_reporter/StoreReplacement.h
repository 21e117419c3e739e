/// @file
/// A fresh crash store in place of an earlier session's.
#pragma once

#include <set>
#include <string>

#include "crash_reporter/Registrations.h"

namespace crash_reporter {

/// Puts a store that nobody needs any more aside instead of deleting it in its place. A host may
/// begin, and crash, after that was decided: what it has put into the old store goes over into the
/// new one. Processes that write by path at that moment find either store.
class StoreReplacement {
  public:
    /// Notes what is in the store. Make it before asking whether anybody needs the store.
    StoreReplacement();

    /// From now on there is no store. @return false when it stays where it is.
    bool putAside() const;
    /// Moves what has come since the construction into the new store and deletes the rest.
    void finish() const;

    /// Makes up for a replacement in which the program was killed: puts the store back, or moves
    /// what may be wanted into the new one. @return the records of the old store.
    static Records undoInterrupted();

  private:
    std::set<std::string> m_known;  ///< names
};

}  // namespace crash_reporter
