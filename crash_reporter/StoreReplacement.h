/// @file
/// A fresh crash store in place of an earlier session's.
#pragma once

#include <set>
#include <string>

#include "crash_reporter/Registrations.h"

namespace crash_reporter {

/// Puts a store that nobody needs any more aside instead of deleting it in its place. A host may
/// begin, and crash, after that was decided: then what it has put into the old store is moved into
/// the new one. Processes that write by path at that moment find the old store or the new one.
class StoreReplacement {
  public:
    /// Notes the content of the store. Construct it before finding out whether anybody needs the
    /// store.
    StoreReplacement();

    /// Moves the store aside. @return false when it stays where it is.
    [[nodiscard]] bool putAside() const;
    /// Moves what has arrived since the construction into the new store and deletes the rest.
    void finish() const;

    /// Completes a replacement that was interrupted because the program was killed: puts the store
    /// back or, if there is a new one, moves the content into that.
    /// @return the records of the old store if there is a new one.
    [[nodiscard]] static Records undoInterrupted();

  private:
    std::set<std::string> m_known;  ///< names
};

}  // namespace crash_reporter
