// scintari blocks: lists the kinds of block and shows one with its defaults.
#include <fstream>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include <boost/optional/optional.hpp>

#include "particle_layout_model/plm_block.h"
#include "particle_layout_model/plm_block_description.h"
#include "particle_layout_model/plm_block_func_expression.h"
#include "particle_layout_model/plm_block_stream.h"
#include "particle_layout_model/plm_blocks_factory.h"
#include "particle_layout_model/plm_system.h"
#include "scintari_command.h"
#include "scintari_input.h"

namespace
{

const char* const help =
    "scintari blocks [<name> [--save <file>] | --load <file>]\n"
    "scintari blocks func_expression [--expression <text>] [--inputs <name>:<type>,...]\n"
    "                                [--save <file>]\n"
    "\n"
    "  Without arguments: every factory name of a block kind, one per line, in the\n"
    "  order of the catalogue.\n"
    "\n"
    "  With a <name>: makes that block with its defaults (a kind whose creation takes\n"
    "  an argument gets a representative one) and prints\n"
    "    block: <name>\n"
    "    property: <key> <type> <default> [overridden <value>] [shared] [external]\n"
    "                                     one line per property, in saved order\n"
    "    connector: <in|out> <float|vec2|vec3|quat> <index>\n"
    "                                     one line per connector, in the block's order\n"
    "  <type> is bool, byte (also enumerations, as their number), ushort, uint, float,\n"
    "  vec2, vec3, quat, string, uuid, optional <type>, path or curve. Numbers print\n"
    "  with up to 9 significant digits; vectors as (x, y[, z[, w]]); strings in double\n"
    "  quotes; a path or curve as \"<n> keys\". The marks come last: shared (a\n"
    "  reflection always takes the value from its source), external (the value comes\n"
    "  through an input connector).\n"
    "  An expression block (func_expression, also with --load) then prints\n"
    "    output: <float|vec2|vec3|quat>   the type of its output connector\n"
    "    valid: <yes|no>                  whether the expression parses to that type\n"
    "  --inputs <name>:<type>,...  a func_expression with these inputs, in order;\n"
    "                              <type> is float, vec2, vec3 or quat; \"\" for none.\n"
    "                              New inputs are made first, then named and typed.\n"
    "  --expression <text>         a func_expression with this text, set after the\n"
    "                              inputs. A text that doesn't parse keeps the output\n"
    "                              type the block had before it (valid: no).\n"
    "  --save <file> also writes the block as the model saves it: one header byte,\n"
    "  type tags on, little endian, group sizes packed.\n"
    "\n"
    "  --load <file>: reads a block written by --save and prints it as above, with the\n"
    "  connectors it has once it stands in an emitter.\n"
    "\n"
    "  An unknown name, or a file that isn't a block, prints a message on standard\n"
    "  error (exit code 2); a file to load is a regular file of at most 67108864\n"
    "  bytes. Bad arguments: exit code 1.\n";

int usage(const std::string& why)
{
    std::cerr << "scintari blocks: " << why
              << "\nusage: scintari blocks [<name> [--save <file>] | --load <file>]\n"
                 "       scintari blocks func_expression [--expression <text>]"
                 " [--inputs <name>:<type>,...] [--save <file>]\n";
    return 1;
}

void printBlock(const Plm::Block& block)
{
    std::cout << "block: " << block.getFactoryName().str() << "\n";
    for (const Plm::PropertyDescription& prop : Plm::describeProperties(block))
    {
        std::cout << "property: " << prop.key << " " << prop.type << " " << prop.defaultValue;
        if (prop.overridden)
            std::cout << " overridden " << prop.overrideValue;
        if (prop.shared)
            std::cout << " shared";
        if (prop.external)
            std::cout << " external";
        std::cout << "\n";
    }
    for (unsigned int i = 0; i < block.getNumConnectors(); ++i)
    {
        const Plm::BlockConnectorDesc& desc = block.getConnectorDesc(i);
        std::cout << "connector: " << (desc.dir_ == Plm::CD_Input ? "in" : "out") << " "
                  << Plm::connectorTypeName(desc.type_) << " " << desc.index_ << "\n";
    }
    if (const auto* expression = dynamic_cast<const Plm::BlockFuncExpression*>(&block))
    {
        std::cout << "output: " << Plm::connectorTypeName(expression->getOutputType()) << "\n"
                  << "valid: " << (expression->isValid() ? "yes" : "no") << "\n";
    }
}

using ExpressionInput = std::pair<std::string, Plm::EnumConnectorType>;

// "a:vec3,b:float"; empty for no inputs.
bool parseExpressionInputs(const std::string& text, std::vector<ExpressionInput>& inputs)
{
    inputs.clear();
    size_t start = 0;
    while (start < text.size())
    {
        size_t end = text.find(',', start);
        if (end == std::string::npos)
            end = text.size();
        const std::string item = text.substr(start, end - start);
        const size_t colon = item.find(':');
        if (colon == 0 || colon == std::string::npos)
            return false;
        const std::string typeName = item.substr(colon + 1);
        bool known = false;
        for (Plm::EnumConnectorType type :
             {Plm::CT_Float, Plm::CT_Vec2, Plm::CT_Vec3, Plm::CT_Quat})
            if (typeName == Plm::connectorTypeName(type))
            {
                inputs.emplace_back(item.substr(0, colon), type);
                known = true;
            }
        if (!known)
            return false;
        start = end + 1;
        if (end + 1 == text.size())
            return false;  // a trailing comma
    }
    return true;
}

// Inputs first, so that the expression is parsed over the inputs it was written for.
void shapeExpression(Plm::BlockFuncExpression& block,
                     const boost::optional<std::vector<ExpressionInput>>& inputs,
                     const boost::optional<std::string>& text)
{
    // Only what differs is set, so that the listing shows as overridden just what was asked.
    if (inputs)
    {
        if (block.getNumInputs() != inputs->size())
            block.setNumInputs(static_cast<unsigned int>(inputs->size()));
        for (unsigned int i = 0; i < inputs->size(); ++i)
        {
            if (block.getInputName(i) != (*inputs)[i].first)
                block.setInputName(i, (*inputs)[i].first);
            if (block.getInputType(i) != (*inputs)[i].second)
                block.setInputType(i, (*inputs)[i].second);
        }
    }
    if (text && block.getExpression() != *text)
        block.setExpression(*text);
}

int loadAndPrint(const std::string& path)
{
    std::vector<uint8_t> bytes;
    std::string why;
    if (!Scintari::readInputFile(path, bytes, why))
    {
        std::cerr << "scintari blocks: " << why << "\n";
        return 2;
    }
    std::unique_ptr<Plm::Block> block;
    try
    {
        block = Plm::loadBlockPlain(bytes.data(), bytes.size());
    }
    catch (const std::exception& e)
    {
        std::cerr << "scintari blocks: " << path
                  << " is not a block: " << Scintari::describeFailure(e, "the block") << "\n";
        return 2;
    }
    if (!block)
    {
        std::cerr << "scintari blocks: " << path << " holds a block of an unknown kind\n";
        return 2;
    }
    // A block builds its connectors when it gets an owner: give it an emitter of its own.
    Plm::System system;
    Plm::Emitter& emitter = system.addEmitter(std::make_unique<Plm::Emitter>("blocks"));
    printBlock(emitter.addBlock(std::move(block)));
    return 0;
}

int runBlocks(const std::vector<std::string>& args)
{
    const Plm::BlocksFactory& factory = Plm::BlocksFactory::instance();
    if (args.empty())
    {
        for (const CrcString& name : factory.names())
            std::cout << name.str() << "\n";
        return 0;
    }
    if (args[0] == "--load")
    {
        if (args.size() != 2)
            return usage("--load takes one file");
        return loadAndPrint(args[1]);
    }
    std::string savePath;
    boost::optional<std::string> expressionText;
    boost::optional<std::vector<ExpressionInput>> expressionInputs;
    for (size_t i = 1; i < args.size(); ++i)
    {
        if (args[i] == "--save" && i + 1 < args.size())
        {
            savePath = args[++i];
        }
        else if (args[i] == "--expression" && i + 1 < args.size())
        {
            expressionText = args[++i];
        }
        else if (args[i] == "--inputs" && i + 1 < args.size())
        {
            expressionInputs.emplace();
            if (!parseExpressionInputs(args[++i], *expressionInputs))
                return usage("bad --inputs (want <name>:<float|vec2|vec3|quat>,...): " + args[i]);
        }
        else
        {
            return usage("unexpected argument: " + args[i]);
        }
    }
    std::unique_ptr<Plm::Block> block = factory.createDefaultByName(CrcString(args[0]));
    if (!block)
    {
        std::cerr << "scintari blocks: no block kind is named '" << args[0] << "'\n";
        return 2;
    }
    if (expressionText || expressionInputs)
    {
        auto* expression = dynamic_cast<Plm::BlockFuncExpression*>(block.get());
        if (!expression)
            return usage("--expression and --inputs are for func_expression only");
        shapeExpression(*expression, expressionInputs, expressionText);
    }
    printBlock(*block);
    if (!savePath.empty())
    {
        const std::vector<uint8_t> bytes = Plm::saveBlockPlain(*block);
        std::ofstream out(savePath, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        if (!out)
        {
            std::cerr << "scintari blocks: can't write " << savePath << "\n";
            return 2;
        }
    }
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "blocks", "list the kinds of block, show one with its defaults", help, runBlocks});

}  // namespace
