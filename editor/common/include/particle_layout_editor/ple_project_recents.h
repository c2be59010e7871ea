#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <vector>

namespace Ple
{

// The projects opened lately, most recent first, at most maxEntries of them.
// Shared by the main window (menu, settings) and the welcome dialog.
class ProjectRecents
{
public:
    explicit ProjectRecents(std::size_t maxEntries) : maxEntries_(maxEntries) {}

    std::size_t maxEntries() const { return maxEntries_; }
    std::size_t numEntries() const { return entries_.size(); }
    // An index out of range is logged and yields an empty path.
    boost::filesystem::path entry(std::size_t index) const;
    const std::vector<boost::filesystem::path>& entries() const { return entries_; }

    void clear() { entries_.clear(); }
    // A path already listed keeps its place and its index is returned. A new one goes to
    // the front (index 0), pushing the oldest out beyond the maximum.
    std::size_t addEntry(const boost::filesystem::path& path);
    void moveEntryOnTop(std::size_t index);
    bool doesEntryExistsOnDisk(std::size_t index) const;
    // Drops the entries whose files are gone; returns how many went.
    std::size_t removeUnexistent();

private:
    std::size_t maxEntries_;
    std::vector<boost::filesystem::path> entries_;
};

}  // namespace Ple
