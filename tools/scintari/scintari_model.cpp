// What the commands that read the effect model share.
#include "scintari_model.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <sstream>

#include <boost/filesystem/operations.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "boost_ext/boost_ext_path.h"

#include "particle_layout_model/plm_emitter.h"
#include "particle_layout_model/plm_emitter_guide.h"
#include "particle_layout_model/plm_export_compiler_bin.h"
#include "particle_layout_model/plm_guide_appearance.h"
#include "particle_layout_model/plm_guide_custom_values.h"
#include "particle_layout_model/plm_guide_generation.h"
#include "particle_layout_model/plm_guide_position.h"
#include "particle_layout_model/plm_guide_rotation.h"
#include "particle_layout_model/plm_guide_termination.h"
#include "particle_layout_model/plm_guide_value.h"
#include "particle_layout_model/plm_project.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "particle_layout_model/plm_system.h"
#include "revision_saveload/sl_exceptions.h"
#include "scintari_input.h"

namespace
{

const char* listKey(const Plm::Block& block)
{
    for (unsigned int l = Plm::Emitter::BL_Glob; l <= Plm::Emitter::BL_Construct; ++l)
    {
        const auto list = static_cast<Plm::Emitter::EnumBlockList>(l);
        if (Plm::Emitter::isInBlockList(list, block))
            return Plm::Emitter::blockListKey(list);
    }
    return Plm::Emitter::blockListKey(Plm::Emitter::BL_All);
}

std::string sectionKind(const Plm::EmitterGuide& guide, unsigned int index)
{
    using namespace Plm::Eg;
    switch (index)
    {
    case 0:
        return std::to_string(guide.customValues().numValues());
    case 1:
        return guide.generation().type() == Generation::T_Periodic ? "periodic" : "distance";
    case 2:
    {
        std::string kinds;
        const Termination& termination = guide.termination();
        for (unsigned int i = 0; i < termination.numTerminators(); ++i)
            kinds += std::string(i ? "+" : "") +
                     (termination.terminator(i).type() == TerminationType::MaxLife ? "max_life"
                                                                                   : "path");
        return kinds.empty() ? "none" : kinds;
    }
    case 3:
        return "point";
    case 4:
    {
        static const char* const names[] = {"none", "path", "steady", "forces"};
        return names[guide.positionChange().type()];
    }
    case 5:
    {
        const Rotation& rotation = guide.rotation();
        static const char* const names[] = {"controlled", "velocity_faced", "velocity_free"};
        std::string kind = names[rotation.type()];
        if (const auto* controlled = dynamic_cast<const RotationControlled*>(&rotation.impl()))
        {
            static const char* const changes[] = {"none", "steady", "graph"};
            kind += controlled->type() == RotationControlled::T_Faced ? "/faced/" : "/free/";
            kind += changes[controlled->getChangeType()];
        }
        return kind;
    }
    case 6:
        return std::string(guide.size().type() == Size::T_Square ? "square" : "rectangle") +
               (guide.size().getChangeType() == Size::CT_Multiplier ? "/multiplier" : "/none");
    case 7:
    case 8:
        return "value";
    case 9:
        return guide.texMapping().type() == TexMapping::T_None ? "none" : "grid";
    }
    return "?";
}

}  // namespace

namespace Scintari
{

void printEmitter(std::ostream& out, const Plm::Emitter& emitter)
{
    out << "emitter: " << emitter.getName() << "\n";
    for (const Plm::Block& block : emitter.allBlocks())
        out << "block: " << listKey(block) << " " << block.getFactoryName().str() << " "
            << block.getId() << "\n";
    for (unsigned int i = 0; i < emitter.getNumLinks(); ++i)
    {
        const Plm::BlockLink& link = emitter.getLink(i);
        out << "link: " << link.output_.blockId << " " << link.output_.desc_.index_ << " -> "
            << link.input_.blockId << " " << link.input_.desc_.index_ << "\n";
    }
    const Plm::EmitterGuide* guide = emitter.guide();
    out << "guide: " << (guide ? "yes" : "no") << "\n";
    if (!guide)
        return;
    static const char* const sectionNames[] = {
        "custom_values", "generation", "termination",  "position_start", "position_change",
        "rotation",      "size",       "transparency", "color",          "tex_mapping"};
    const std::vector<Plm::Eg::Base*> sections = guide->sections();
    for (unsigned int s = 0; s < sections.size(); ++s)
    {
        out << "section: " << sectionNames[s] << " " << sectionKind(*guide, s) << " "
            << (sections[s]->isValid() ? "valid" : "invalid") << "\n";
        std::vector<Plm::Eg::Value*> values;
        sections[s]->collectValues(values);
        for (const Plm::Eg::Value* value : values)
            out << "value: " << sectionNames[s] << " " << Plm::Eg::Value::typeName(value->type())
                << " level " << value->level() << " " << (value->isValid() ? "valid" : "invalid")
                << "\n";
    }
}


bool printMarks(std::ostream& out, const Plm::SystemExportCompiler& compiler,
                const Plm::Emitter& emitter, const std::string& prefix)
{
    const Plm::EmitterExportCompilerBase* failed =
        compiler.getErrorEmitterExporter(emitter.getId());
    if (!failed)
        return false;
    for (const boost::uuids::uuid& id : failed->errorBlocks())
        out << prefix << "error: block " << emitter.getBlockById(id).getFactoryName().str() << " "
            << id << "\n";
    for (const Plm::BlockLink& link : failed->errorLinks())
        out << prefix << "error: link " << link.output_.blockId << " " << link.output_.desc_.index_
            << " -> " << link.input_.blockId << " " << link.input_.desc_.index_ << "\n";
    for (const Plm::BlockConnector& connector : failed->errorConnectors())
        out << prefix << "error: connector " << connector.blockId << " " << connector.desc_.index_
            << "\n";
    if (failed->hasUnknownError())
        out << prefix << "error: emitter " << emitter.getName()
            << " lacks a generator, a positioner or (C# and Unity) a terminator\n";
    return true;
}


bool printSystemMarks(std::ostream& out, const Plm::SystemExportCompiler& compiler,
                      const Plm::System& system)
{
    bool marked = false;
    for (const Plm::Emitter& emitter : system.emitters())
    {
        std::ostringstream prefix;
        prefix << "emitter " << emitter.getId() << " ";
        marked = printMarks(out, compiler, emitter, prefix.str()) || marked;
    }
    return marked;
}

bool isEffectFile(const std::string& path)
{
    const std::string extension = Plm::ProjectResourceHandler::getResourceExtension();
    return path.size() > extension.size() &&
           path.compare(path.size() - extension.size(), extension.size(), extension) == 0;
}

std::shared_ptr<Plm::ProjectResourceHandler> openEffectFile(const std::string& path,
                                                            std::string& why)
{
    // The same checks of the input as for every other file the tool reads.
    std::vector<uint8_t> bytes;
    if (!readInputFile(path, bytes, why))
        return nullptr;
    std::shared_ptr<Plm::ProjectResourceHandler> handler;
    try
    {
        handler = Plm::ProjectResourceHandler::openStandalone(path);
    }
    catch (const Sl::Exception& e)
    {
        why = "'" + path +
              "': " + Plm::resourceLoadErrorText(Plm::ProjectResourceHandler::loadErrorOf(e));
        return nullptr;
    }
    catch (const std::exception& e)
    {
        why = "'" + path + "' can't be read";
        return nullptr;
    }
    if (!handler->load())
    {
        why = "'" + path + "': " +
              (handler->loadError() ? Plm::resourceLoadErrorText(*handler->loadError())
                                    : "can't be read");
        return nullptr;
    }
    if (handler->getType() != Plm::PRT_System)
    {
        why = "'" + path + "' holds a block, not an effect";
        return nullptr;
    }
    return handler;
}

bool compileSystem(const Plm::System& system, std::ostream& marks, std::vector<uint8_t>& bytes,
                   bool& complete, std::string& why)
{
    const std::shared_ptr<Plm::SystemExportCompilerBin> compiler =
        Plm::SystemExportCompilerBin::create(system);
    complete = !printSystemMarks(marks, *compiler, system);
    try
    {
        bytes = compiler->exportBytes();
    }
    catch (const std::exception& e)
    {
        // A limit of the compiled format (255 operations...).
        why = std::string("can't compile: ") + e.what();
        return false;
    }
    return true;
}

std::unique_ptr<Plm::Project> openProject(const std::string& path, std::string& why)
{
    // The same bounds as every input of the tool, before the model reads anything.
    std::vector<std::uint8_t> bytes;
    if (!readInputFile(path, bytes, why))
        return nullptr;
    try
    {
        std::unique_ptr<Plm::Project> project = Plm::Project::open(path);
        project->updateFoldersAndResourceLoadState();
        return project;
    }
    catch (const Sl::Exception& e)
    {
        why =
            path + " is not a project file that this program can read: " + describeStreamFailure(e);
    }
    catch (const std::exception& e)
    {
        why = path + ": " + describeFailure(e, "the project file");
    }
    return nullptr;
}

std::string findProjectFileFor(const std::string& effectFile, std::string& why)
{
    namespace bfs = boost::filesystem;
    const bfs::path start = BoostExt::normalizePath(bfs::absolute(effectFile)).parent_path();
    for (bfs::path dir = start; !dir.empty(); dir = dir.parent_path())
    {
        std::vector<bfs::path> found;
        boost::system::error_code error;
        for (bfs::directory_iterator it(dir, error), end; !error && it != end; it.increment(error))
        {
            boost::system::error_code statusError;
            if (it->path().extension() == Plm::Project::getProjectExtension() &&
                bfs::is_regular_file(it->status(statusError)))
                found.push_back(it->path());
        }
        if (found.size() > 1)
        {
            std::sort(found.begin(), found.end());
            why = "'" + effectFile + "' lies in more than one project: " + dir.string() +
                  " holds " + found[0].filename().string() + " and " + found[1].filename().string();
            return std::string();
        }
        if (found.size() == 1)
            return found[0].string();
        if (dir == dir.root_path())
            break;
    }
    why = "'" + effectFile + "' lies in no project: no " + Plm::Project::getProjectExtension() +
          " file in its folder or above it";
    return std::string();
}

bool readPlayableEffect(const std::string& path, std::vector<uint8_t>& bytes, std::string& why,
                        std::ostream& marks)
{
    if (!isEffectFile(path))
        return readInputFile(path, bytes, why);
    const std::shared_ptr<Plm::ProjectResourceHandler> handler = openEffectFile(path, why);
    if (!handler)
        return false;
    const Plm::System& system =
        handler->getLoadedResource().castToSystemResourceChecked().getResource();
    bool complete = true;
    return compileSystem(system, marks, bytes, complete, why);
}

}  // namespace Scintari
