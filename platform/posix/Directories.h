/// @file
/// Where the product's directories are: one environment override each, else a default.
#pragma once

#include <string>

/// Nothing is kept between two calls. An override counts when it is an absolute path.
namespace directories {

/// HUT_APP_ROOT, else the installation that the running executable belongs to.
std::string appRoot();
/// HUT_APP_DATA_DIR, else the product's directory below the user's data home. Made when missing,
/// with its parents: the backup store in it is made one level deep only.
std::string appDataDir(const std::string& productName);
/// HUT_TMP_DIR, else a directory below TMPDIR or /tmp that belongs to this user alone; such a one
/// is made when missing. Empty when there is no safe place.
std::string tmpDir(const std::string& productName);
/// The first root of HUT_DATA_DIR (a list with colons) and appRoot/data that holds the relative
/// path; else the last one.
std::string dataDir(const std::string& appRoot, const std::string& relativePath);

}  // namespace directories
