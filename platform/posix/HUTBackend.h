/// @file
/// The object that answers for HUTEnv, HUTFile and HUTFork. Tests replace it.
#pragma once

#include <string>
#include <vector>

#include "HUTExport.h"
#include "HUTFile.h"
#include "HUTPlatform.h"

/// The POSIX implementation. A test derives from it and overrides single functions, for example to
/// give another host name or to let the creation of a directory fail.
class HUT_EXPORT HUTBackend {
  public:
    virtual ~HUTBackend();

    // --- Facts (see HUTEnv) ---
    virtual std::string hostName();
    virtual std::string userName();
    virtual std::string domainName();
    virtual bool isHostInsideVeltra();
    virtual int pid();
    virtual std::string workingDirectory();
    virtual std::string programName();
    virtual std::string commandLine();
    virtual HUTPlatform::HUTProductInfo product();
    virtual std::string timeStamp();
    virtual std::string appRoot();
    virtual std::string appDataDir();
    virtual std::string tmpDir();
    virtual std::string dataDir(const std::string& relativePath);

    // --- Files (see HUTFile) ---
    virtual bool exists(const std::string& path);
    virtual bool isDir(const std::string& path);
    virtual bool isExecutable(const std::string& path);
    virtual bool isWriteable(const std::string& path);
    virtual std::string canonicalName(const std::string& path);
    virtual bool mkDir(const std::string& path);
    virtual bool mkDirRecursive(const std::string& path);
    virtual bool rm(const std::string& path);
    virtual bool rmRecursive(const std::string& path);
    virtual bool copyToDir(const std::string& path, const std::string& directory,
                           HUTFile::CopyMode mode);
    virtual HUTFileIter* createFileIter(const std::string& path);

    // --- Processes (see HUTFork) ---
    virtual int launch(const std::string& cmdLine, bool throughShell, bool wait, bool inheritOutput,
                       bool inheritInput, bool inheritEnvironment);

    /// Returns the object in use: the POSIX object unless a test has replaced it.
    static HUTBackend& current();
    /// Uses another object from now on; null restores the POSIX object. The caller owns the object
    /// and keeps it alive while it is in use. Not locked: call it while no other thread uses the
    /// library.
    /// @return the previous object; null for the POSIX object
    static HUTBackend* replace(HUTBackend* backend);
};
