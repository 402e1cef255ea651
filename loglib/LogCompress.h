#pragma once
// gzip compression of whole log files, in place.

#include <string>

namespace loglib {

// Gzips the regular file path into path + ".gz" and removes path. Fails, and
// changes nothing, when path is no regular file (symbolic links included) or
// path + ".gz" already exists.
bool gzipFile(const std::string& path);

// Restores gzPath (a name ending in ".gz") to the same name without ".gz" and
// removes gzPath. Fails, and changes nothing, when gzPath is no complete gzip
// file or the restored name already exists.
bool gunzipFile(const std::string& gzPath);

}  // namespace loglib
