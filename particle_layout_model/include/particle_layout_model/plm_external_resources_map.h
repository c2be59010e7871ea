#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <boost/filesystem/path.hpp>

namespace Plm
{

class Block;
class Emitter;
class ProjectResource;
class ProjectResourceHandler;
class System;

// The files that one file reflects, as far as its project knows them, keyed by the relative
// paths that the referring file holds. A synchronisation looks its external sources up here.
//
// A file that isn't loaded (it failed to load), or that holds another kind of resource than
// the reference asks for, counts as absent: what reflects it stays as it is, and the problem
// is kept for the caller to report.
class ExternalResourcesMap
{
public:
    using path = boost::filesystem::path;

    // The path must be new to the map.
    void addResource(const path& relPath, ProjectResourceHandler* handler);

    // Null when the path isn't in the map.
    ProjectResourceHandler* findResourceHandler(const path& relPath) const;
    // The loaded resource; null when absent or not loaded.
    ProjectResource* findResource(const path& relPath) const;
    // The object of a file of that kind; null when absent, not loaded or of another kind.
    Block* findBlock(const path& relPath) const;
    Emitter* findEmitter(const path& relPath) const;
    System* findSystem(const path& relPath) const;

    const std::map<path, ProjectResourceHandler*>& entries() const { return externals_; }
    // What the finds met and couldn't follow, one text per problem, naming the file.
    const std::vector<std::string>& problems() const { return problems_; }
    // Whether a find met that file and couldn't follow it.
    bool wasRefused(const path& relPath) const { return refused_.count(relPath) != 0; }

private:
    // The object of a file of the kind `cast` picks; `what` names the kind for the problem.
    template <class File>
    auto* findContent(const path& relPath, File* (ProjectResource::*cast)(),
                      const char* what) const;
    void reportProblem(const path& relPath, const std::string& what) const;

    std::map<path, ProjectResourceHandler*> externals_;
    mutable std::vector<std::string> problems_;
    mutable std::set<path> refused_;
};

}  // namespace Plm
