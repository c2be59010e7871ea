// The revision store: pictures, shared states of unchanged objects, undo and
// redo, and the plain savers and loaders that write everything in line.

#include <gtest/gtest.h>

#include <random>

#include "debug/debug_check.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_revision_core.h"
#include "revision_saveload/sl_revision_loader.h"
#include "revision_saveload/sl_revision_saver.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_saver_loader_manager.h"
#include "revision_saveload/sl_write_read.h"

namespace
{

using Bytes = std::vector<uint8_t>;
using Uuid = boost::uuids::uuid;

Uuid makeId(std::mt19937& rng)
{
    Uuid id;
    for (uint8_t& b : id)
        b = static_cast<uint8_t>(rng());
    return id;
}

// A small model in the manner of the editor's: a document of folders
// (like emitters), each holding items (like blocks). Items and folders carry
// an id and a revision; an edit gives the item and its folder new revisions.
struct Item
{
    Uuid id{};
    Uuid revision{};
    std::string name;
    std::vector<int32_t> values;

    void save(Sl::RevisionSaver& saver) const
    {
        Sl::write("id", saver, id);
        Sl::write("revision", saver, revision);
        if (std::shared_ptr<Sl::RevisionSaver> content = saver.beginSaveResource(id, revision))
        {
            Sl::ScopedSaverGroup group("item", *content, 1);
            Sl::write("name", *content, name);
            Sl::write("values", *content, values);
        }
    }
    void load(Sl::RevisionLoader& loader)
    {
        Sl::read(loader, id);
        Sl::read(loader, revision);
        std::shared_ptr<Sl::RevisionLoader> content = loader.beginLoadResource(id, revision);
        Sl::ScopedLoaderGroup group(*content, 1);
        Sl::read(*content, name);
        Sl::read(*content, values);
    }
};

struct Folder
{
    Uuid id{};
    Uuid revision{};
    std::vector<Item> items;

    void save(Sl::RevisionSaver& saver) const
    {
        Sl::write("id", saver, id);
        Sl::write("revision", saver, revision);
        if (std::shared_ptr<Sl::RevisionSaver> content = saver.beginSaveResource(id, revision))
        {
            Sl::ScopedSaverGroup group("folder", *content);
            content->write("num_items", static_cast<uint32_t>(items.size()));
            for (const Item& item : items)
                item.save(*content);
        }
    }
    void load(Sl::RevisionLoader& loader)
    {
        Sl::read(loader, id);
        Sl::read(loader, revision);
        std::shared_ptr<Sl::RevisionLoader> content = loader.beginLoadResource(id, revision);
        Sl::ScopedLoaderGroup group(*content);
        uint32_t count = 0;
        content->read(count);
        items.assign(count, Item());
        for (Item& item : items)
            item.load(*content);
    }
};

struct Document
{
    std::string title;
    std::vector<Folder> folders;

    void save(Sl::RevisionSaver& saver) const
    {
        Sl::ScopedSaverGroup group("document", saver);
        Sl::write("title", saver, title);
        saver.write("num_folders", static_cast<uint32_t>(folders.size()));
        for (const Folder& folder : folders)
            folder.save(saver);
    }
    void load(Sl::RevisionLoader& loader)
    {
        Sl::ScopedLoaderGroup group(loader);
        Sl::read(loader, title);
        uint32_t count = 0;
        loader.read(count);
        folders.assign(count, Folder());
        for (Folder& folder : folders)
            folder.load(loader);
    }
};

// The document written in line by a plain saver: the reference form.
Bytes plainBytes(const Document& doc)
{
    Sl::SaverBinFlex flex;
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        doc.save(saver);
    }
    return flex.dataAsVector();
}

void writePicture(Sl::RevisionCore& core, const Document& doc)
{
    std::shared_ptr<Sl::RevisionSaver> saver = core.createRevision();
    doc.save(*saver);
}

Document loadDocument(const std::shared_ptr<Sl::RevisionLoader>& loader)
{
    Document doc;
    doc.load(*loader);
    return doc;
}

// One random edit of the document.
void edit(Document& doc, std::mt19937& rng)
{
    const int kind = static_cast<int>(rng() % 6);
    if (doc.folders.empty() || kind == 0)
    {
        Folder folder;
        folder.id = makeId(rng);
        folder.revision = makeId(rng);
        doc.folders.push_back(folder);
        return;
    }
    Folder& folder = doc.folders[rng() % doc.folders.size()];
    if (kind == 1)
    {
        doc.title = "title " + std::to_string(rng() % 1000);
        return;
    }
    if (kind == 2 && doc.folders.size() > 1)
    {
        doc.folders.erase(doc.folders.begin() +
                          static_cast<std::ptrdiff_t>(rng() % doc.folders.size()));
        return;
    }
    folder.revision = makeId(rng);  // any change inside gives the folder a new revision
    if (folder.items.empty() || kind == 3)
    {
        Item item;
        item.id = makeId(rng);
        item.revision = makeId(rng);
        item.name = "item" + std::to_string(rng() % 100);
        folder.items.push_back(item);
    }
    else if (kind == 4)
    {
        folder.items.erase(folder.items.begin() +
                           static_cast<std::ptrdiff_t>(rng() % folder.items.size()));
    }
    else
    {
        Item& item = folder.items[rng() % folder.items.size()];
        item.revision = makeId(rng);
        item.values.push_back(static_cast<int32_t>(rng()));
    }
}

}  // namespace

TEST(SlRevisionCore, NewCoreHasNothing)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    EXPECT_FALSE(core.hasRevisions());
    EXPECT_FALSE(core.isUndoPossible());
    EXPECT_FALSE(core.isRedoPossible());
    EXPECT_EQ(&core.getSaverLoaderManager(), &manager);
    EXPECT_THROW(core.undo(), Debug::CheckException);
    EXPECT_THROW(core.redo(), Debug::CheckException);
    EXPECT_THROW(core.getCurrentRevision(), Debug::CheckException);
}

TEST(SlRevisionCore, UndoNeedsTwoPictures)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    core.createRevision();
    EXPECT_TRUE(core.hasRevisions());
    EXPECT_EQ(core.currentRevisionNumber(), 0u);
    EXPECT_FALSE(core.isUndoPossible());
    core.createRevision();
    EXPECT_TRUE(core.isUndoPossible());
    EXPECT_FALSE(core.isRedoPossible());
    core.undo();
    EXPECT_FALSE(core.isUndoPossible());
    EXPECT_TRUE(core.isRedoPossible());
    core.redo();
    EXPECT_TRUE(core.isUndoPossible());
    EXPECT_FALSE(core.isRedoPossible());
}

TEST(SlRevisionCore, PictureIsCompleteWhenItsSaverIsReleased)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    {
        std::shared_ptr<Sl::RevisionSaver> saver = core.createRevision();
        saver->write("v", uint32_t(300));
    }
    std::shared_ptr<Sl::RevisionLoader> loader = core.getCurrentRevision();
    uint32_t v = 0;
    loader->read(v);
    EXPECT_EQ(v, 300u);
    EXPECT_THROW(loader->skipUint8(), Sl::EndOfBufferException);
}

TEST(SlRevisionCore, SameRevisionIsStoredOnce)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(1);
    const Uuid id = makeId(rng);
    const Uuid rev = makeId(rng);
    auto picture = core.createRevision();
    auto first = picture->beginSaveResource(id, rev);
    ASSERT_TRUE(first);
    first->write("x", uint8_t(5));
    first.reset();
    EXPECT_EQ(picture->beginSaveResource(id, rev), nullptr);
    EXPECT_EQ(core.beginSaveResource(id, rev), nullptr);
    EXPECT_EQ(core.numResourceStates(), 1u);
    auto loader = core.beginLoadResource(id, rev);
    uint8_t x = 0;
    loader->read(x);
    EXPECT_EQ(x, 5);
    EXPECT_THROW(core.beginLoadResource(id, makeId(rng)), Debug::CheckException);
    EXPECT_THROW(core.beginLoadResource(makeId(rng), rev), Debug::CheckException);
}

TEST(SlRevisionCore, NewEditDropsRedoBranchAndItsStates)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(2);
    Document doc;
    doc.title = "t";
    edit(doc, rng);
    for (int i = 0; i < 3; ++i)
    {
        Item item;
        item.id = makeId(rng);
        item.revision = makeId(rng);
        doc.folders[0].items.push_back(item);
    }
    writePicture(core, doc);  // picture 0: folder state and three items
    const Item shared = doc.folders[0].items[0];
    const Uuid folderRev0 = doc.folders[0].revision;

    doc.folders[0].revision = makeId(rng);
    doc.folders[0].items[1].revision = makeId(rng);
    const Uuid item1Rev1 = doc.folders[0].items[1].revision;
    writePicture(core, doc);  // picture 1: new folder state, item 1 changed

    doc.folders[0].revision = makeId(rng);
    doc.folders[0].items[2].revision = makeId(rng);
    writePicture(core, doc);  // picture 2

    EXPECT_EQ(core.numResourceStates(), 4u + 2u + 2u);
    core.undo();
    core.undo();
    EXPECT_EQ(core.currentRevisionNumber(), 0u);
    EXPECT_EQ(core.numResourceStates(), 8u);  // undo alone erases nothing
    core.createRevision();
    EXPECT_EQ(core.currentRevisionNumber(), 1u);
    EXPECT_EQ(core.numPictures(), 2u);
    EXPECT_FALSE(core.isRedoPossible());
    // Pictures 1 and 2 are gone and with them the states they stored first;
    // the states of picture 0, which they also referred to, stay.
    EXPECT_EQ(core.numResourceStates(), 4u);
    EXPECT_NO_THROW(core.beginLoadResource(shared.id, shared.revision));
    EXPECT_NO_THROW(core.beginLoadResource(doc.folders[0].id, folderRev0));
    EXPECT_THROW(core.beginLoadResource(doc.folders[0].items[1].id, item1Rev1),
                 Debug::CheckException);
}

TEST(SlRevisionCore, UndoThenRedoGivesTheSameBytes)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(3);
    Document doc;
    for (int i = 0; i < 5; ++i)
    {
        edit(doc, rng);
        writePicture(core, doc);
    }
    const Bytes last = plainBytes(loadDocument(core.getCurrentRevision()));
    EXPECT_EQ(last, plainBytes(doc));
    core.undo();
    EXPECT_EQ(plainBytes(loadDocument(core.redo())), last);
}

TEST(SlRevisionCore, ClearReturnsToANewCore)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(4);
    Document doc;
    for (int i = 0; i < 3; ++i)
    {
        edit(doc, rng);
        writePicture(core, doc);
    }
    core.undo();
    core.clear();
    EXPECT_FALSE(core.hasRevisions());
    EXPECT_FALSE(core.isUndoPossible());
    EXPECT_FALSE(core.isRedoPossible());
    EXPECT_EQ(core.currentRevisionNumber(), Sl::RevisionCore::kNoRevision);
    EXPECT_EQ(core.numResourceStates(), 0u);
    writePicture(core, doc);
    EXPECT_EQ(core.currentRevisionNumber(), 0u);
    EXPECT_EQ(plainBytes(loadDocument(core.getCurrentRevision())), plainBytes(doc));
}

TEST(SlRevisionCore, RestrictDepthKeepsNewestPictures)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(5);
    Document doc;
    std::vector<Bytes> expected;
    for (int i = 0; i < 6; ++i)
    {
        edit(doc, rng);
        writePicture(core, doc);
        expected.push_back(plainBytes(doc));
    }
    core.restrictDepth(10);  // current 5 is below 10: nothing
    EXPECT_EQ(core.numPictures(), 6u);
    core.restrictDepth(3);  // keeps 3, 4, 5
    EXPECT_EQ(core.numPictures(), 3u);
    EXPECT_EQ(plainBytes(loadDocument(core.undo())), expected[4]);
    EXPECT_EQ(plainBytes(loadDocument(core.undo())), expected[3]);
    EXPECT_FALSE(core.isUndoPossible());  // the oldest kept picture still loads its states
}

TEST(SlRevisionSaver, PlainSaverWritesEverythingInLine)
{
    std::mt19937 rng(6);
    Document doc;
    for (int i = 0; i < 8; ++i)
        edit(doc, rng);
    Sl::SaverBinFlex flex;
    {
        Sl::RevisionSaver saver(nullptr, flex, nullptr);
        EXPECT_EQ(saver.beginSaveResource(makeId(rng), makeId(rng)).get(), &saver);
        EXPECT_EQ(&saver.getSaver(), &flex);
    }
    const Bytes bytes = plainBytes(doc);
    Sl::LoaderBinArray array(bytes.data(), static_cast<uint32_t>(bytes.size()));
    Sl::RevisionLoader loader(nullptr, array);
    Document back;
    back.load(loader);
    EXPECT_EQ(plainBytes(back), bytes);
    EXPECT_EQ(array.dataLeftToRead(), 0u);

    // Held by a shared pointer, the plain saver hands out shared ownership.
    Sl::SaverBinFlex flex2;
    auto shared = std::make_shared<Sl::RevisionSaver>(nullptr, flex2, nullptr);
    auto again = shared->beginSaveResource(makeId(rng), makeId(rng));
    EXPECT_EQ(again, shared);
    EXPECT_EQ(shared.use_count(), 2);
}

TEST(SlRevisionSaver, TargetReceivesTheBytesAtDestruction)
{
    Bytes target;
    {
        auto saver = std::make_shared<Sl::RevisionSaver>(
            nullptr, std::make_unique<Sl::SaverBinFlex>(), &target);
        saver->write("v", int32_t(-1));
        EXPECT_TRUE(target.empty());
    }
    EXPECT_EQ(target.size(), 2u);
    EXPECT_EQ(target[1], 0x01);
}

TEST(SlRevisionCore, RandomEditsUndoToStartAndRedoToEnd)
{
    for (uint32_t seed = 10; seed < 40; ++seed)
    {
        std::mt19937 rng(seed);
        Sl::SaverLoaderBinManager manager;
        Sl::RevisionCore core(manager);
        Document doc;
        std::vector<Bytes> expected;  // plain bytes of picture i on the live branch
        writePicture(core, doc);
        expected.push_back(plainBytes(doc));

        for (int step = 0; step < 60; ++step)
        {
            const uint32_t action = rng() % 10;
            if (action < 2 && core.isUndoPossible())
            {
                doc = loadDocument(core.undo());
            }
            else if (action < 3 && core.isRedoPossible())
            {
                doc = loadDocument(core.redo());
            }
            else
            {
                edit(doc, rng);
                writePicture(core, doc);  // drops the redo branch
                expected.resize(core.currentRevisionNumber());
                expected.push_back(plainBytes(doc));
            }
            ASSERT_EQ(plainBytes(doc), expected[core.currentRevisionNumber()])
                << seed << " " << step;
        }

        // Redo to the end, then undo to the start, then redo to the end again.
        while (core.isRedoPossible())
            doc = loadDocument(core.redo());
        ASSERT_EQ(core.currentRevisionNumber() + 1, expected.size());
        ASSERT_EQ(plainBytes(doc), expected.back());
        while (core.isUndoPossible())
        {
            doc = loadDocument(core.undo());
            ASSERT_EQ(plainBytes(doc), expected[core.currentRevisionNumber()]) << seed;
        }
        EXPECT_EQ(core.currentRevisionNumber(), 0u);
        EXPECT_EQ(plainBytes(doc), expected.front());
        while (core.isRedoPossible())
        {
            doc = loadDocument(core.redo());
            ASSERT_EQ(plainBytes(doc), expected[core.currentRevisionNumber()]) << seed;
        }
        EXPECT_EQ(plainBytes(doc), expected.back());
    }
}

TEST(SlRevisionCore, UnchangedObjectsAreStoredOnlyOnce)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(7);
    Document doc;
    doc.folders.resize(1);
    doc.folders[0].id = makeId(rng);
    for (int i = 0; i < 20; ++i)
    {
        Item item;
        item.id = makeId(rng);
        item.revision = makeId(rng);
        item.values.assign(50, i);
        doc.folders[0].items.push_back(item);
    }
    writePicture(core, doc);
    const size_t statesBefore = core.numResourceStates();
    doc.folders[0].revision = makeId(rng);
    doc.folders[0].items[7].revision = makeId(rng);
    writePicture(core, doc);
    // One new folder state and one new item state.
    EXPECT_EQ(core.numResourceStates(), statesBefore + 2);
}

TEST(SlSaverLoaderBinManager, SaverThroughBinaryAndBack)
{
    Sl::SaverLoaderBinManager manager;
    std::unique_ptr<Sl::Saver> inner = manager.createSaver();
    Sl::write("s", *inner, std::string("payload"));
    inner->write("n", uint32_t(9));

    Sl::SaverBinFlex outer;
    manager.writeSaver(outer, *inner);
    Bytes innerBytes;
    manager.getSaverDataBuffer(*inner, innerBytes);

    const Bytes outerBytes = outer.dataAsVector();
    auto loader = manager.createLoaderFromDataBuffer(outerBytes);
    std::unique_ptr<Sl::Saver> copy = manager.readSaver(*loader);
    Bytes copyBytes;
    manager.getSaverDataBuffer(*copy, copyBytes);
    EXPECT_EQ(copyBytes, innerBytes);

    auto fromSaver = manager.createLoaderFromSaver(*copy);
    std::string s;
    Sl::read(*fromSaver, s);
    EXPECT_EQ(s, "payload");
}

TEST(SlRevisionSaver, PictureGivenUpAfterExceptionKeepsWhatWasWritten)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    struct GiveUp
    {
    };
    try
    {
        std::shared_ptr<Sl::RevisionSaver> saver = core.createRevision();
        Sl::ScopedSaverGroup outer("outer", *saver, 1);
        saver->write("a", uint32_t(7));
        Sl::ScopedSaverGroup inner("inner", *saver);
        saver->write("b", true);
        throw GiveUp();
    }
    catch (const GiveUp&)
    {
    }
    // The groups were closed on the way out: the partial picture still reads.
    std::shared_ptr<Sl::RevisionLoader> loader = core.getCurrentRevision();
    EXPECT_EQ(loader->startGroup(1), 1u);
    uint32_t a = 0;
    loader->read(a);
    EXPECT_EQ(a, 7u);
    EXPECT_EQ(loader->startGroup(0), 0u);
    bool b = false;
    loader->read(b);
    EXPECT_TRUE(b);
    EXPECT_EQ(loader->maxDataLeft(), 0u);
}

namespace
{

// The text of the check that fails in call, or "" if none does.
template <class F>
std::string failedCheck(F&& call)
{
    try
    {
        call();
    }
    catch (const Debug::CheckException& e)
    {
        return e.what();
    }
    return std::string();
}

}  // namespace

TEST(SlRevisionCore, MisuseFailsWithTheNamedChecks)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(8);
    const Uuid id = makeId(rng);
    const Uuid rev = makeId(rng);
    EXPECT_NE(failedCheck([&] { core.undo(); }).find("isUndoPossible()"), std::string::npos);
    EXPECT_NE(failedCheck([&] { core.redo(); }).find("isRedoPossible()"), std::string::npos);
    EXPECT_NE(failedCheck([&] { core.getCurrentRevision(); }).find("hasRevisions()"),
              std::string::npos);
    EXPECT_NE(
        failedCheck([&] { core.beginLoadResource(id, rev); }).find("itRes != resources_.end()"),
        std::string::npos);
    core.createRevision()->beginSaveResource(id, rev);
    EXPECT_NE(failedCheck([&] { core.beginLoadResource(id, makeId(rng)); })
                  .find("itRev != itRes->second.end()"),
              std::string::npos);
    // A failed undo leaves the store as it was.
    EXPECT_EQ(core.currentRevisionNumber(), 0u);
    EXPECT_TRUE(failedCheck([&] { core.beginLoadResource(id, rev); }).empty());
}

TEST(SlRevisionCore, StateStoredBeforeAnyPictureSurvivesCuts)
{
    // A state stored while there is no picture is stamped -1: no later picture
    // stored it first, so no cut of a redo branch may drop it.
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    std::mt19937 rng(9);
    const Uuid id = makeId(rng);
    const Uuid rev = makeId(rng);
    core.beginSaveResource(id, rev)->write("x", uint8_t(3));
    EXPECT_EQ(core.resources().at(id).at(rev).revision, Sl::RevisionCore::kNoRevision);
    core.createRevision();
    core.createRevision();
    core.undo();
    core.createRevision();  // cuts picture 1
    ASSERT_EQ(core.numResourceStates(), 1u);
    uint8_t x = 0;
    core.beginLoadResource(id, rev)->read(x);
    EXPECT_EQ(x, 3);
}

TEST(SlRevisionCore, RestrictDepthEdges)
{
    Sl::SaverLoaderBinManager manager;
    Sl::RevisionCore core(manager);
    core.restrictDepth(0);  // no picture: nothing to do
    EXPECT_FALSE(core.hasRevisions());
    for (int i = 0; i < 4; ++i)
        core.createRevision();
    core.undo();
    core.restrictDepth(2);  // current 2: keeps 1 and 2, and the redo picture 3
    EXPECT_EQ(core.numPictures(), 3u);
    EXPECT_TRUE(core.isUndoPossible());
    EXPECT_TRUE(core.isRedoPossible());
    core.undo();
    EXPECT_FALSE(core.isUndoPossible());
    core.restrictDepth(2);  // current 1 is below 2: nothing
    EXPECT_EQ(core.numPictures(), 3u);
}
