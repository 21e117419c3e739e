/// @file
/// Where the product's directories are: each has an environment variable that overrides a default.
#pragma once

#include <string>

/// No state is kept between two calls. An override counts only if it is an absolute path.
namespace directories {

/// HUT_APP_ROOT, else the installation of the running executable.
std::string appRoot();
/// HUT_APP_DATA_DIR, else the product's directory below the user's data home. Created with its
/// parents when missing: the library creates only the backup store itself in it.
std::string appDataDir(const std::string& productName);
/// HUT_TMP_DIR, else this user's own directory below TMPDIR or /tmp, created when missing, else a
/// directory below the user's data home. Empty when there is no safe place.
std::string tmpDir(const std::string& productName);
/// The first root of HUT_DATA_DIR (a list with colons) that contains the relative path; else
/// appRoot/data.
std::string dataDir(const std::string& appRoot, const std::string& relativePath);

}  // namespace directories
