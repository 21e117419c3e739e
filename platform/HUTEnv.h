/// @file
/// Facts about machine, user, process and product. docs/environment.md names the source of each.
#pragma once

#include <string>

#include "HUTExport.h"

/// Grade: @crashtime, but for getPid(), which is @signalsafe. No operation waits for a name
/// service. Threads: any. A result by reference stays valid until the same thread calls the same
/// function again. The only exceptions are the standard ones of exhausted memory.
class HUT_EXPORT HUTEnv {
  public:
    // --- Machine and user: fixed when the library is loaded ---------------------------------
    static std::string getHostName();
    static std::string getUserName();
    /// The machine's DNS domain, read from its own files; may be empty.
    static std::string getDomainName();
    /// Returns true when the machine belongs to the maker's own network.
    static bool isHostInsideVeltra();

    // --- Process ------------------------------------------------------------------------------
    /// Read anew by each call, so that a forked child gets its own id.
    static int getPid();
    /// The working directory, read anew by each call; empty when it has been removed.
    static const std::string& getPWD();
    /// Name of the running executable; valid UTF-8, whatever the bytes of the file name.
    static std::string getProgramName();
    /// Arguments of this process, joined by single blanks; valid UTF-8: U+FFFD replaces other
    /// bytes.
    static std::string getCmdline();

    // --- Product: set once by the host (HUTPlatform.h) ----------------------------------------
    static std::string getProductName();
    static std::string getProductVersion();
    static int getBuildNumber();
    static std::string getBuildDate();

    // --- Time ---------------------------------------------------------------------------------
    /// Sets stamp to the local time in seconds, in characters that a file name may have, such as
    /// 20261121T054733.
    static void getTimeStamp(std::string& stamp);

    // --- Directories --------------------------------------------------------------------------
    /// The product's installation root.
    static const std::string& getTUVAppRoot();
    /// The directory of the user's data of the product. A missing directory is created.
    static const std::string& getTUVAppDataDir();
    /// The product's temporary directory; empty when there is no safe place for one.
    static const std::string& getTUVTmpDir();
    /// The root of the data directory that contains the relative path.
    static std::string getZEBDataDir(const std::string& relativePath);
};
