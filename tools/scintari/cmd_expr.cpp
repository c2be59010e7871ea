// scintari expr: parses an expression, lists its byte code and evaluates it, or
// translates it to the text of JavaScript or C# (--to).
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "expression/expr2cs.h"
#include "expression/expr2js.h"
#include "expression/expr_executor.h"
#include "expression/expr_listing.h"
#include "expression/expr_parser.h"
#include "scintari_command.h"
#include "scintari_numbers.h"

namespace
{

const char* const help =
    "scintari expr \"<expression>\" [--input name=type:value ...] [--dt seconds]\n"
    "scintari expr [--input name=type:value ...] [--dt seconds] -- \"<expression>\"\n"
    "scintari expr --to js|cs \"<expression>\" [--input name=type ...]\n"
    "\n"
    "  Parses the expression over the inputs given, in the order given, lists\n"
    "  the byte code, runs it once and prints the result. With --to it\n"
    "  translates the expression to JavaScript or C# instead, as the export\n"
    "  checks of the text targets do.\n"
    "\n"
    "  --input name=type:value  an input; type is float, vec2, vec3 or quat and\n"
    "                           value its components separated by commas, e.g.\n"
    "                           --input v=vec3:1,2,3  --input q=quat:0,0,0,1 (w last);\n"
    "                           each component a finite decimal number from -3.4e38\n"
    "                           to 3.4e38\n"
    "  --dt seconds             appends the float input \"dt\" as the last input,\n"
    "                           as an expression block of an emitter does; a finite\n"
    "                           number from -3.4e38 to 3.4e38\n"
    "  --to js|cs               translate instead of running: the inputs need no\n"
    "                           value (--input v=vec3; a value given is checked and\n"
    "                           not used), and the float input \"dt\" is always\n"
    "                           appended last, as every expression block has it\n"
    "  --                       ends the options: what follows is the expression,\n"
    "                           for one that begins with \"--\" (\"--a\" is -(-a))\n"
    "\n"
    "  Output on success (exit code 0), on standard output:\n"
    "    expression: <text>\n"
    "    input <i>: <name> <type> = <value>     one line per input\n"
    "    <listing of the byte code>             lines of the form:\n"
    "      header: inputs N, commands N, arguments N, data N bytes, pool N bytes, code N bytes\n"
    "      input I: TYPE @OFFSET\n"
    "      command I: KIND \"NAME\" overload K (RESULT = ARG, ...): @RESULT <- @ARG, ...\n"
    "      constant I: float @OFFSET = VALUE\n"
    "      result: TYPE @OFFSET\n"
    "    unread: <position> <text>              only when the expression ended at a ')'\n"
    "                                           or ',' before the end: the rest is not read\n"
    "    type: <float|vec2|vec3|quat>\n"
    "    value: <v> or (<x>, <y>[, <z>[, <w>]])\n"
    "  Offsets (@) are byte offsets in the data area, positions byte offsets in\n"
    "  the text from 0. Numbers are printed with 9 significant digits (\"%.9g\"),\n"
    "  so that they read back as the same float; \"inf\", \"-inf\", \"nan\" as such.\n"
    "\n"
    "  A refused expression (exit code 2) prints on standard error:\n"
    "    error: <message>\n"
    "      <text>\n"
    "      <caret under the offending character>\n"
    "    position: <byte offset in the text, from 0>\n"
    "  Control characters of the text are shown escaped (\\t, \\n, \\xHH), and\n"
    "  the caret follows them. Bad arguments print a usage message (exit code 1).\n"
    "\n"
    "  With --to, a translated expression (exit code 0) prints on standard output:\n"
    "    expression: <text>\n"
    "    <js|cs>: <the translated text>\n"
    "    type: <float|vec2|vec3|quat>\n"
    "  and an expression that does not translate (exit code 1) prints on\n"
    "  standard error, the position being the number of bytes read when the\n"
    "  translation stopped:\n"
    "    error: no JavaScript translation: <why>     (or \"no C# translation\")\n"
    "      <text>\n"
    "      <caret>\n"
    "    position: <byte offset in the text, from 0>\n"
    "  The translators differ from the byte code on purpose: every ASCII space is\n"
    "  white space, \"%\" does not exist, a sign binds to the next factor only\n"
    "  (\"-a + b\" is (-a) + b), \"nan\" and \"inf\" are numbers, nothing operates on\n"
    "  a quaternion, and the whole text has to be read. Parentheses, calls and\n"
    "  signs nested more than 200 deep, or operations more than 1000 deep, are\n"
    "  refused with a message that says so.\n";

struct CliInput
{
    std::string name;
    Expr::EnumValueType type = Expr::VT_Float;
    std::vector<float> value;  // empty when none was given ("name=type")
};

bool parseType(const std::string& text, Expr::EnumValueType& type)
{
    for (unsigned t = 0; t < Expr::numValueTypes; ++t)
        if (text == Expr::getTypeName(t))
        {
            type = static_cast<Expr::EnumValueType>(t);
            return true;
        }
    return false;
}

// Inputs take any finite float.
Scintari::RealRule finiteFloat(const char* name)
{
    return Scintari::RealRule{name, -Scintari::kFloatMax, Scintari::kFloatMax};
}

// "name=type:v1,v2,..." or, without a value, "name=type".
bool parseInput(const std::string& text, CliInput& input, std::string& why)
{
    const auto equals = text.find('=');
    const auto colon = text.find(':', equals == std::string::npos ? 0 : equals);
    if (equals == std::string::npos || equals == 0)
    {
        why = "expected name=type:value, got '" + text + "'";
        return false;
    }
    input.name = text.substr(0, equals);
    const std::string type = text.substr(
        equals + 1, colon == std::string::npos ? std::string::npos : colon - equals - 1);
    if (!parseType(type, input.type))
    {
        why = "unknown type '" + type + "' (float, vec2, vec3 or quat)";
        return false;
    }
    input.value.clear();
    if (colon == std::string::npos)
        return true;
    std::string rest = text.substr(colon + 1);
    std::size_t start = 0;
    while (true)
    {
        const auto comma = rest.find(',', start);
        const std::string part =
            rest.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        float v = 0;
        const std::string name = "a component of '" + input.name + "'";
        if (!Scintari::parseFloat(part, finiteFloat(name.c_str()), v, why))
            return false;
        input.value.push_back(v);
        if (comma == std::string::npos)
            break;
        start = comma + 1;
    }
    const unsigned expected = Expr::getTypeSize(input.type) / sizeof(float);
    if (input.value.size() != expected)
    {
        why = "'" + input.name + "' of type " + type + " needs " + std::to_string(expected) +
              " components, got " + std::to_string(input.value.size());
        return false;
    }
    return true;
}

std::string formatValue(const float* components, unsigned count)
{
    if (count == 1)
        return Expr::formatFloat(components[0]);
    std::string out = "(";
    for (unsigned i = 0; i < count; ++i)
        out += (i ? ", " : "") + Expr::formatFloat(components[i]);
    return out + ")";
}

// The text as shown, and the display column of each byte offset.
void escapeText(const std::string& text, std::string& shown, std::vector<std::size_t>& column)
{
    std::size_t width = 0;
    for (unsigned char c : text)
    {
        column.push_back(width);
        std::string piece;
        if (c == '\t')
            piece = "\\t";
        else if (c == '\n')
            piece = "\\n";
        else if (c == '\r')
            piece = "\\r";
        else if (c < 32 || c == 127)
        {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\x%02X", c);
            piece = buffer;
        }
        else
        {
            piece = std::string(1, static_cast<char>(c));
        }
        shown += piece;
        // A UTF-8 continuation byte takes no column of its own.
        if (!(c >= 0x80 && c < 0xC0))
            width += piece.size();
    }
    column.push_back(width);
}

int usage(const std::string& why)
{
    std::cerr << "scintari expr: " << why << "\nusage: scintari expr \"<expression>\" "
              << "[--input name=type:value ...] [--dt seconds] [--to js|cs]; "
              << "see scintari help expr\n";
    return 1;
}

// The refusal of a parse or a translation: message, text, caret, position.
void printRefusal(const std::string& message, const std::string& text, unsigned position)
{
    std::string shown;
    std::vector<std::size_t> column;
    escapeText(text, shown, column);
    const std::size_t caret = column[position < column.size() ? position : column.size() - 1];
    std::cerr << "error: " << message << "\n  " << shown << "\n  " << std::string(caret, ' ')
              << "^\nposition: " << position << "\n";
}

// --to: the translation and its type, or the refusal (exit code 1).
int translate(const std::string& target, const std::string& text,
              const std::vector<CliInput>& inputs)
{
    std::vector<Expr::Translator::InputDesc> descs;
    for (const auto& input : inputs)
        descs.push_back({input.name, input.type, input.name});
    descs.push_back({"dt", Expr::VT_Float, "dt"});
    unsigned position = 0;
    std::string why;
    const bool js = target == "js";
    const Expr::Translator::Result result = js ? Expr2Js::convert(text, descs, &position, &why)
                                               : Expr2Cs::convert(text, descs, &position, &why);
    if (!result)
    {
        printRefusal(std::string(js ? "no JavaScript" : "no C#") + " translation: " + why, text,
                     position);
        return 1;
    }
    std::cout << "expression: " << text << "\n"
              << target << ": " << result->second << "\n"
              << "type: " << Expr::getTypeName(result->first) << "\n";
    return 0;
}

int runExpr(const std::vector<std::string>& args)
{
    std::string text;
    bool haveText = false;
    std::vector<CliInput> inputs;
    bool haveDt = false;
    float dt = 0;
    bool optionsEnded = false;
    std::string target;
    for (std::size_t i = 0; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        if (optionsEnded)
        {
            if (haveText)
                return usage("more than one expression; quote the expression as one argument");
            text = arg;
            haveText = true;
        }
        else if (arg == "--")
        {
            optionsEnded = true;
        }
        else if (arg == "--input" || arg.rfind("--input=", 0) == 0)
        {
            std::string value;
            if (arg == "--input")
            {
                if (i + 1 >= args.size())
                    return usage("--input needs name=type:value");
                value = args[++i];
            }
            else
            {
                value = arg.substr(8);
            }
            CliInput input;
            std::string why;
            if (!parseInput(value, input, why))
                return usage(why);
            inputs.push_back(input);
        }
        else if (arg == "--to" || arg.rfind("--to=", 0) == 0)
        {
            if (arg == "--to" && i + 1 >= args.size())
                return usage("--to needs js or cs");
            target = arg == "--to" ? args[++i] : arg.substr(5);
            if (target != "js" && target != "cs")
                return usage("--to takes js or cs, not '" + target + "'");
        }
        else if (arg == "--dt")
        {
            if (i + 1 >= args.size())
                return usage("--dt needs a number");
            std::string why;
            if (!Scintari::parseFloat(args[i + 1], finiteFloat("--dt"), dt, why))
                return usage(why);
            ++i;
            haveDt = true;
        }
        else if (arg.size() > 1 && arg[0] == '-' && arg[1] == '-')
        {
            return usage("unknown option '" + arg + "'");
        }
        else if (!haveText)
        {
            text = arg;
            haveText = true;
        }
        else
        {
            return usage("more than one expression; quote the expression as one argument");
        }
    }
    if (!haveText)
        return usage("no expression given");
    if (!target.empty())
        return translate(target, text, inputs);
    for (const auto& input : inputs)
        if (input.value.empty())
            return usage("--input " + input.name +
                         " needs a value, name=type:value (only --to takes none)");
    if (haveDt)
        inputs.push_back(CliInput{"dt", Expr::VT_Float, {dt}});

    std::vector<Expr::InputDesc> descs;
    for (const auto& input : inputs)
        descs.push_back({input.name.c_str(), input.type});
    const Expr::Parser parser(text.c_str(), descs.data(), static_cast<unsigned>(descs.size()));
    if (!parser.isOk())
    {
        printRefusal(parser.getErrorMessage(), text, parser.getErrorPosition());
        return 2;
    }

    std::cout << "expression: " << text << "\n";
    for (std::size_t i = 0; i < inputs.size(); ++i)
        std::cout << "input " << i << ": " << inputs[i].name << " "
                  << Expr::getTypeName(inputs[i].type) << " = "
                  << formatValue(inputs[i].value.data(),
                                 static_cast<unsigned>(inputs[i].value.size()))
                  << "\n";
    const unsigned char* code = parser.getOutputBuffer();
    const unsigned size = parser.getOutputBufferSize();
    std::cout << Expr::listCode(code, size);
    if (parser.getParsedLength() < text.size())
        std::cout << "unread: " << parser.getParsedLength() << " "
                  << text.substr(parser.getParsedLength()) << "\n";

    std::vector<std::uint64_t> pool((Expr::Executor::computePoolSizeNoObj(code, size) + 7) / 8 + 1);
    Expr::Executor executor(reinterpret_cast<unsigned char*>(pool.data()), code, size);
    for (std::size_t i = 0; i < inputs.size(); ++i)
        executor.setInputRawData(static_cast<unsigned>(i), inputs[i].value.data(),
                                 static_cast<unsigned>(inputs[i].value.size() * sizeof(float)));
    executor.execute();
    const unsigned count = Expr::getTypeSize(executor.getResultType()) / sizeof(float);
    float result[4] = {0, 0, 0, 0};
    std::memcpy(result, executor.getOutputRawData(), count * sizeof(float));
    std::cout << "type: " << Expr::getTypeName(executor.getResultType()) << "\n"
              << "value: " << formatValue(result, count) << "\n";
    return 0;
}

const Scintari::CommandRegistration registration(Scintari::Command{
    "expr", "parse, list and evaluate an expression, or translate it to JavaScript or C#", help,
    runExpr});

}  // namespace
