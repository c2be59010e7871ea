#include <fstream>
#include <set>

#include <boost/filesystem/operations.hpp>
#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>
#include <unistd.h>

#include "boost_ext/boost_ext_path.h"
#include "boost_ext/boost_ext_uuid.h"

namespace bfs = boost::filesystem;

namespace
{

// A fresh directory under the temporary folder, removed at the end of the test.
class TempDir
{
public:
    TempDir()
    {
        path_ = bfs::temp_directory_path() / bfs::unique_path("boost_ext_test_%%%%-%%%%-%%%%");
        bfs::create_directories(path_);
    }
    ~TempDir()
    {
        boost::system::error_code error;
        bfs::permissions(path_ / "locked", bfs::owner_all, error);
        bfs::remove_all(path_, error);
    }
    const bfs::path& path() const { return path_; }

private:
    bfs::path path_;
};

void touch(const bfs::path& path) { std::ofstream(path.string()) << "x"; }

}  // namespace

TEST(NormalizePath, DropsDotsAndFoldsParents)
{
    EXPECT_EQ(BoostExt::normalizePath("a/./b/../c"), bfs::path("a/c"));
    EXPECT_EQ(BoostExt::normalizePath("../a"), bfs::path("../a"));
    EXPECT_EQ(BoostExt::normalizePath("a/.."), bfs::path());
    EXPECT_EQ(BoostExt::normalizePath("../../a/../b"), bfs::path("../../b"));
    EXPECT_EQ(BoostExt::normalizePath("/p/a/b/../c/./d.sxed"), bfs::path("/p/a/c/d.sxed"));
    EXPECT_EQ(BoostExt::normalizePath("/p/a/"), bfs::path("/p/a"));
    EXPECT_EQ(BoostExt::normalizePath("/.."), bfs::path("/"));
    EXPECT_EQ(BoostExt::normalizePath("/a/../../b"), bfs::path("/b"));
}

TEST(NormalizePath, IsPurelyLexical)
{
    // Nothing of this exists on disk, and no link is followed.
    EXPECT_EQ(BoostExt::normalizePath("/no/such/dir/../file"), bfs::path("/no/such/file"));
}

TEST(MakeRelativePath, LeadsFromParentToPath)
{
    EXPECT_EQ(BoostExt::makeRelativePath("/p/a/b", "/p/c/d.sxed"), bfs::path("../../c/d.sxed"));
    EXPECT_EQ(BoostExt::makeRelativePath("/p/a", "/p/a/b/../c"), bfs::path("c"));
    EXPECT_EQ(BoostExt::makeRelativePath("/p/a/", "/p/a/x/y.sxed"), bfs::path("x/y.sxed"));
    EXPECT_EQ(BoostExt::makeRelativePath("/p/a", "/q"), bfs::path("../../q"));
}

TEST(MakeRelativePath, SamePathGivesEmptyPath)
{
    const auto result = BoostExt::makeRelativePath("/p/a", "/p/./a");
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->empty());
}

TEST(MakeRelativePath, RelativeInputGivesNoValue)
{
    EXPECT_FALSE(BoostExt::makeRelativePath("relative", "/p"));
    EXPECT_FALSE(BoostExt::makeRelativePath("/p", "relative/x"));
}

TEST(MakeRelativePath, ComparesElementsExactly)
{
    // Only root names are compared without regard to case; other elements must match.
    EXPECT_EQ(BoostExt::makeRelativePath("/P/a", "/p/a/x"), bfs::path("../../p/a/x"));
}

TEST(FileChecks, DirAndFileExist)
{
    TempDir dir;
    touch(dir.path() / "f.txt");
    EXPECT_TRUE(BoostExt::dirExists(dir.path()));
    EXPECT_FALSE(BoostExt::fileExists(dir.path()));
    EXPECT_TRUE(BoostExt::fileExists(dir.path() / "f.txt"));
    EXPECT_FALSE(BoostExt::dirExists(dir.path() / "f.txt"));
    EXPECT_FALSE(BoostExt::dirExists(dir.path() / "missing"));
    EXPECT_FALSE(BoostExt::fileExists(dir.path() / "missing"));
    EXPECT_FALSE(BoostExt::fileExists(dir.path() / "f.txt" / "below_a_file"));
}

TEST(FileChecks, NoPermissionGivesFalseWithoutException)
{
    TempDir dir;
    bfs::create_directories(dir.path() / "locked" / "inner");
    bfs::permissions(dir.path() / "locked", bfs::no_perms);
    const bfs::path inner = dir.path() / "locked" / "inner";
    if (::geteuid() == 0)
    {
        // The super-user passes every permission check; the path is then just a directory.
        EXPECT_NO_THROW(BoostExt::dirExists(inner));
    }
    else
    {
        EXPECT_FALSE(BoostExt::dirExists(inner));
        EXPECT_FALSE(BoostExt::fileExists(inner / "x"));
        EXPECT_FALSE(BoostExt::caseSensitiveExists(inner));
    }
}

TEST(FileChecks, CaseSensitiveExists)
{
    TempDir dir;
    touch(dir.path() / "file.txt");
    EXPECT_TRUE(BoostExt::caseSensitiveExists(dir.path() / "file.txt"));
    EXPECT_FALSE(BoostExt::caseSensitiveExists(dir.path() / "File.txt"));
    EXPECT_FALSE(BoostExt::caseSensitiveExists(dir.path() / "missing.txt"));
    EXPECT_TRUE(BoostExt::caseSensitiveExists(dir.path()));
    EXPECT_TRUE(BoostExt::caseSensitiveExists(dir.path() / "." / "file.txt"));
    EXPECT_TRUE(BoostExt::caseSensitiveExists("/"));
}

TEST(FileChecks, CaseSensitiveExistsWithRelativePath)
{
    TempDir dir;
    touch(dir.path() / "rel.txt");
    const bfs::path before = bfs::current_path();
    bfs::current_path(dir.path());
    EXPECT_TRUE(BoostExt::caseSensitiveExists("rel.txt"));
    EXPECT_FALSE(BoostExt::caseSensitiveExists("REL.txt"));
    bfs::current_path(before);
}

TEST(TryMakeCanonical, ResolvesAgainstBase)
{
    TempDir dir;
    bfs::create_directories(dir.path() / "a" / "b");
    touch(dir.path() / "a" / "f.txt");
    const bfs::path canonicalDir = bfs::canonical(dir.path());
    EXPECT_EQ(BoostExt::tryMakeCanonical("b/../f.txt", dir.path() / "a"),
              canonicalDir / "a" / "f.txt");
    EXPECT_EQ(BoostExt::tryMakeCanonical(dir.path() / "a" / "./b", "/elsewhere"),
              canonicalDir / "a" / "b");
    EXPECT_FALSE(BoostExt::tryMakeCanonical("missing", dir.path()));
}

TEST(GenerateUuid, GivesDistinctNonNilIdentifiers)
{
    std::set<boost::uuids::uuid> seen;
    for (int i = 0; i < 1000; ++i)
    {
        const boost::uuids::uuid id = BoostExt::generateUuid();
        EXPECT_FALSE(id.is_nil());
        EXPECT_TRUE(seen.insert(id).second);
    }
    // Random identifiers carry the version 4 and variant bits.
    const boost::uuids::uuid id = BoostExt::generateUuid();
    EXPECT_EQ(id.version(), boost::uuids::uuid::version_random_number_based);
    EXPECT_EQ(id.variant(), boost::uuids::uuid::variant_rfc_4122);
}
