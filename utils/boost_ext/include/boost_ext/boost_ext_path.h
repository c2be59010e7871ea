#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/optional/optional.hpp>

// Path helpers that the model rests on. References between files are kept relative to the
// file that holds them, and paths are compared as paths, so one place must have one form.
namespace BoostExt
{

// The path exists and is a directory. Never throws: errors and "not found" give false.
bool dirExists(const boost::filesystem::path& path);

// The path exists and is a regular file. Never throws.
bool fileExists(const boost::filesystem::path& path);

// As exists(), and the last element has exactly this case, also on file systems that
// ignore case. File system errors give false.
bool caseSensitiveExists(const boost::filesystem::path& path);

// Lexical clean-up with no access to the disk: "." is dropped, ".." removes the element
// before it unless there is none or it is itself "..". Leading ".." stay, links are not
// followed. The root directory is never removed: "/.." is "/".
boost::filesystem::path normalizePath(const boost::filesystem::path& path);

// The canonical form of `path`, taken relative to `base` if it has no root directory.
// No value if it doesn't exist or the file system refuses.
boost::optional<boost::filesystem::path> tryMakeCanonical(const boost::filesystem::path& path,
                                                          const boost::filesystem::path& base);

// The path that leads from the directory `parent` to `path`, both absolute. No value if
// either is relative or they lie on different roots. A path equal to `parent` gives an
// empty path.
boost::optional<boost::filesystem::path> makeRelativePath(const boost::filesystem::path& parent,
                                                          const boost::filesystem::path& path);

}  // namespace BoostExt
