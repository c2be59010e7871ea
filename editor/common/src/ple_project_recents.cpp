#include "particle_layout_editor/ple_project_recents.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>

#include "debug/debug_check.h"

namespace Ple
{

boost::filesystem::path ProjectRecents::entry(std::size_t index) const
{
    DEBUG_EXPECT(index < entries_.size());
    if (index >= entries_.size())
        return {};
    return entries_[index];
}

std::size_t ProjectRecents::addEntry(const boost::filesystem::path& path)
{
    const auto it = std::find(entries_.begin(), entries_.end(), path);
    if (it != entries_.end())
        return static_cast<std::size_t>(it - entries_.begin());
    entries_.insert(entries_.begin(), path);
    if (entries_.size() > maxEntries_)
        entries_.resize(maxEntries_);
    return 0;
}

void ProjectRecents::moveEntryOnTop(std::size_t index)
{
    if (index == 0)
        return;
    DEBUG_EXPECT(index < entries_.size());
    if (index >= entries_.size())
        return;
    std::rotate(entries_.begin(), entries_.begin() + index, entries_.begin() + index + 1);
}

bool ProjectRecents::doesEntryExistsOnDisk(std::size_t index) const
{
    if (index >= entries_.size())
        return false;
    boost::system::error_code error;
    const boost::filesystem::file_status status = boost::filesystem::status(entries_[index], error);
    return !error && boost::filesystem::exists(status);
}

std::size_t ProjectRecents::removeUnexistent()
{
    std::size_t removed = 0;
    for (std::size_t i = entries_.size(); i-- > 0;)
    {
        if (!doesEntryExistsOnDisk(i))
        {
            entries_.erase(entries_.begin() + i);
            ++removed;
        }
    }
    return removed;
}

}  // namespace Ple
