// scintari effect dump / load: the text form of an effect file.
#include "cmd_effect_text.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <boost/filesystem/operations.hpp>

#include "particle_layout_model/plm_effect_text.h"
#include "particle_layout_model/plm_project_resource.h"
#include "particle_layout_model/plm_project_resource_handler.h"
#include "scintari_input.h"
#include "scintari_model.h"

namespace Scintari
{

const char* const effectTextHelp =
    "scintari effect dump <file.sxed>\n"
    "scintari effect load <file.json> -o <file.sxed> [--force]\n"
    "\n"
    "  dump: prints the whole effect as JSON on standard output: the settings, the block\n"
    "  resources, each emitter with every block (factory name, identities, each property's\n"
    "  default, override and external flag), the links and the guide, the preview scene, the\n"
    "  comment and the video address. Keys keep the order of the file; dump, load and dump\n"
    "  again give the same text.\n"
    "  load: reads such a JSON and writes the effect file <file.sxed>; an existing file is\n"
    "  replaced only with --force. The file gets new file revisions, its content is the one\n"
    "  described. A JSON that can't be taken prints on standard error\n"
    "    scintari effect: '<file.json>': <member path>: <why>\n"
    "  for example\n"
    "    effect.system.emitters[0].blocks[0].block.gen_periodic.fixed_rate.default: expected\n"
    "    a number, found a string\n"
    "  the exit code is 2 and nothing is written.\n";

namespace
{

int usage(const std::string& why)
{
    std::cerr << "scintari effect: " << why
              << "\nusage: scintari effect dump <file.sxed>\n"
                 "       scintari effect load <file.json> -o <file.sxed> [--force]\n";
    return 1;
}

}  // namespace

int runEffectDump(const std::vector<std::string>& args)
{
    if (args.size() != 1)
        return usage("dump takes one effect file");
    const std::string& path = args[0];
    if (!isEffectFile(path))
        return usage("the file's name must end in .sxed: " + path);
    std::string why;
    const std::shared_ptr<Plm::ProjectResourceHandler> handler = openEffectFile(path, why);
    if (!handler)
    {
        std::cerr << "scintari effect: " << why << "\n";
        return 2;
    }
    std::cout << Plm::dumpEffectJson(handler->getLoadedResource().castToSystemResourceChecked());
    return 0;
}

int runEffectLoad(const std::vector<std::string>& args)
{
    std::string input, output;
    bool force = false;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "-o" && i + 1 < args.size())
            output = args[++i];
        else if (args[i] == "--force")
            force = true;
        else if (!args[i].empty() && args[i][0] == '-')
            return usage("unknown option: " + args[i]);
        else if (input.empty())
            input = args[i];
        else
            return usage("one JSON file only");
    }
    if (input.empty() || output.empty())
        return usage("load takes a JSON file and -o <file.sxed>");
    if (!isEffectFile(output))
        return usage("the file's name must end in .sxed: " + output);
    boost::system::error_code error;
    if (!force && boost::filesystem::exists(output, error))
    {
        std::cerr << "scintari effect: '" << output << "' exists already (--force replaces it)\n";
        return 2;
    }

    std::vector<uint8_t> bytes;
    std::string why;
    if (!readInputFile(input, bytes, why))
    {
        std::cerr << "scintari effect: " << why << "\n";
        return 2;
    }
    std::unique_ptr<Plm::ProjectResourceSystem> resource;
    try
    {
        resource = Plm::loadEffectJson(std::string(bytes.begin(), bytes.end()));
    }
    catch (const Plm::EffectJsonError& e)
    {
        std::cerr << "scintari effect: '" << input << "': " << e.what() << "\n";
        return 2;
    }

    // Written beside the target, then moved over it: a failure leaves what was there.
    const boost::filesystem::path target(output);
    const boost::filesystem::path temporary =
        target.parent_path() /
        boost::filesystem::unique_path(
            ".%%%%-%%%%-%%%%" + std::string(Plm::ProjectResourceHandler::getResourceExtension()));
    try
    {
        Plm::ProjectResourceHandler::createNewStandalone(temporary, std::move(resource));
    }
    catch (const Plm::ProjectResourceHandler::Exception&)
    {
        boost::filesystem::remove(temporary, error);
        std::cerr << "scintari effect: can't write '" << output << "'\n";
        return 2;
    }
    boost::filesystem::rename(temporary, target, error);
    if (error)
    {
        boost::filesystem::remove(temporary, error);
        std::cerr << "scintari effect: can't write '" << output << "'\n";
        return 2;
    }
    return 0;
}

}  // namespace Scintari
