/// @file
/// Facts about machine, user, process and product. docs/environment.md says where each comes from.
#pragma once

#include <string>

#include "HUTExport.h"

/// Grade: @crashtime, but for getPid(), which is @signalsafe. No operation waits for a name
/// service. Threads: any. A result by reference stays valid until the same thread asks for it
/// again. Nothing is thrown but the standard exceptions of exhausted memory.
class HUT_EXPORT HUTEnv {
  public:
    // --- Machine and user: fixed when the library is loaded ---------------------------------
    static std::string getHostName();
    static std::string getUserName();
    /// The machine's DNS domain as it stands in its own files; may be empty.
    static std::string getDomainName();
    /// Whether the machine belongs to the maker's own network.
    static bool isHostInsideVeltra();

    // --- Process ------------------------------------------------------------------------------
    /// Asked afresh each time, so that a forked child gets its own.
    static int getPid();
    /// The working directory, asked afresh each time; empty when it is gone.
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
    /// Local time with seconds, in characters that suit a file name, such as 20261121T054733.
    static void getTimeStamp(std::string& stamp);

    // --- Directories --------------------------------------------------------------------------
    /// The product's installation root.
    static const std::string& getTUVAppRoot();
    /// The user's own data of the product. The directory is made when it is missing.
    static const std::string& getTUVAppDataDir();
    /// The product's temporary directory; empty when there is no safe place for one.
    static const std::string& getTUVTmpDir();
    /// Root of the data directory that holds the relative path.
    static std::string getZEBDataDir(const std::string& relativePath);
};
