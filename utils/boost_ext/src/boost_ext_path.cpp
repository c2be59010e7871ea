#include "boost_ext/boost_ext_path.h"

#include <cctype>
#include <vector>

#include <boost/filesystem/operations.hpp>

#include "debug/debug_check.h"

namespace bfs = boost::filesystem;

namespace BoostExt
{

bool dirExists(const bfs::path& path)
{
    try
    {
        boost::system::error_code error;
        const bfs::file_status status = bfs::status(path, error);
        if (error)
            return false;
        return bfs::is_directory(status);
    }
    catch (const bfs::filesystem_error&)
    {
        return false;
    }
}

bool fileExists(const bfs::path& path)
{
    try
    {
        boost::system::error_code error;
        const bfs::file_status status = bfs::status(path, error);
        if (error)
            return false;
        return bfs::is_regular_file(status);
    }
    catch (const bfs::filesystem_error&)
    {
        return false;
    }
}

bool caseSensitiveExists(const bfs::path& path)
{
    try
    {
        boost::system::error_code error;
        if (!bfs::exists(path, error) || error)
            return false;
        const bfs::path canonical = bfs::canonical(path, bfs::current_path(), error);
        if (error)
            return false;
        const bfs::path parent = canonical.parent_path();
        // The root itself has no parent to list; it exists in the only case it can have.
        if (parent.empty() || canonical == canonical.root_path())
            return true;
        bfs::directory_iterator it(parent, error);
        if (error)
            return false;
        for (const bfs::directory_iterator end; it != end; it.increment(error))
        {
            if (error)
                return false;
            if (it->path() == canonical)
                return true;
        }
        return false;
    }
    catch (const bfs::filesystem_error&)
    {
        return false;
    }
}

bfs::path normalizePath(const bfs::path& path)
{
    // The root name and root directory lead the elements; ".." never climbs over them.
    const size_t rootCount = (path.has_root_name() ? 1 : 0) + (path.has_root_directory() ? 1 : 0);
    std::vector<bfs::path> elements;
    for (const bfs::path& element : path)
    {
        if (element == ".")
            continue;
        if (element == "..")
        {
            if (elements.size() > rootCount && elements.back() != "..")
            {
                elements.pop_back();
                continue;
            }
            // Above the root there is nothing: "/.." stays "/".
            if (path.has_root_directory() && elements.size() == rootCount)
                continue;
        }
        elements.push_back(element);
    }
    bfs::path result;
    for (const bfs::path& element : elements)
        result /= element;
    return result;
}

boost::optional<bfs::path> tryMakeCanonical(const bfs::path& path, const bfs::path& base)
{
    try
    {
        const bfs::path full = path.has_root_directory() ? path : base / path;
        boost::system::error_code error;
        if (!bfs::exists(full, error) || error)
            return boost::none;
        bfs::path canonical = bfs::canonical(full, bfs::current_path(), error);
        if (error)
            return boost::none;
        return canonical;
    }
    catch (const bfs::filesystem_error&)
    {
        return boost::none;
    }
}

namespace
{

bool sameRootName(const std::string& a, const std::string& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
    {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    }
    return true;
}

}  // namespace

boost::optional<bfs::path> makeRelativePath(const bfs::path& parent, const bfs::path& path)
{
    const bfs::path absoluteParentDir = normalizePath(parent);
    const bfs::path absoluteRelativePath = normalizePath(path);
    if (!absoluteParentDir.has_root_directory() || !absoluteRelativePath.has_root_directory())
        return boost::none;

    auto itParent = absoluteParentDir.begin();
    auto itRel = absoluteRelativePath.begin();
    DEBUG_ASSERT(itParent != absoluteParentDir.end() && itRel != absoluteRelativePath.end());

    // Drive letters and the like differ only in case on the systems that have them.
    const std::string parentRootName = absoluteParentDir.root_name().string();
    const std::string relRootName = absoluteRelativePath.root_name().string();
    if (!parentRootName.empty() && !relRootName.empty())
    {
        if (!sameRootName(parentRootName, relRootName))
            return boost::none;
        ++itParent;
        ++itRel;
    }
    else if (*itParent != *itRel)
    {
        return boost::none;
    }

    while (itParent != absoluteParentDir.end() && itRel != absoluteRelativePath.end() &&
           *itParent == *itRel)
    {
        ++itParent;
        ++itRel;
    }

    bfs::path result;
    for (; itParent != absoluteParentDir.end(); ++itParent)
        result /= "..";
    for (; itRel != absoluteRelativePath.end(); ++itRel)
        result /= *itRel;
    return result;
}

}  // namespace BoostExt
