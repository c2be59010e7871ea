#include "render_options.h"

#include "scintari_numbers.h"

#include <cstdio>
#include <cstdlib>

namespace ScintariRender
{

namespace
{

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

bool parseOptions(const std::vector<std::string>& args, Options& options, std::string& why)
{
    for (size_t i = 0; i < args.size(); ++i)
    {
        const std::string& arg = args[i];
        const auto value = [&](std::string& into)
        {
            if (i + 1 >= args.size())
            {
                why = arg + " needs a value";
                return false;
            }
            into = args[++i];
            return true;
        };
        std::string text;
        if (arg == "--out")
        {
            if (!value(options.out))
                return false;
        }
        else if (arg == "--time")
        {
            if (!value(text))
                return false;
            if (!Scintari::parseFloat(text, {"--time", 0.0, 1e6}, options.time, why))
                return false;
        }
        else if (arg == "--size")
        {
            if (!value(text))
                return false;
            const auto x = text.find('x');
            if (x == std::string::npos)
            {
                why = "--size needs WxH, each from 1 to 8192";
                return false;
            }
            std::uint64_t width = 0, height = 0;
            if (!Scintari::parseWhole(text.substr(0, x), {"the width of --size", 1, 8192}, width,
                                      why) ||
                !Scintari::parseWhole(text.substr(x + 1), {"the height of --size", 1, 8192}, height,
                                      why))
                return false;
            options.width = static_cast<int>(width);
            options.height = static_cast<int>(height);
        }
        else if (arg == "--camera")
        {
            float v[9];
            for (int k = 0; k < 9; ++k)
            {
                if (i + 1 >= args.size())
                {
                    why = "--camera needs 9 numbers: direction, up, right";
                    return false;
                }
                if (!Scintari::parseFloat(args[i + 1], {"each number of --camera", -1e6, 1e6}, v[k],
                                          why))
                    return false;
                ++i;
            }
            options.customCamera = true;
            options.cameraDir = glm::vec3(v[0], v[1], v[2]);
            options.cameraUp = glm::vec3(v[3], v[4], v[5]);
            options.cameraRight = glm::vec3(v[6], v[7], v[8]);
        }
        else if (arg == "--frames")
        {
            if (!value(text))
                return false;
            std::uint64_t frames = 0;
            if (!Scintari::parseWhole(text, {"--frames", 1, 100000}, frames, why))
                return false;
            options.frames = static_cast<int>(frames);
        }
        else if (arg == "--every")
        {
            if (!value(text))
                return false;
            if (!Scintari::parseFloat(text, {"--every", 0.0, 1e6, true}, options.every, why))
                return false;
        }
        else if (arg == "--textures")
        {
            if (!value(options.texturesDir))
                return false;
        }
        else if (arg == "--background")
        {
            if (!value(text))
                return false;
            bool hex = text.size() == 6;
            for (const char c : text)
                hex = hex && isHexDigit(c);
            if (!hex)
            {
                why = "--background needs a colour RRGGBB in hex, not \"" + text + "\"";
                return false;
            }
            options.background =
                static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
        }
        else if (arg == "--scale")
        {
            if (!value(text))
                return false;
            if (!Scintari::parseFloat(text, {"--scale", 0.0, 1e12, true}, options.scale, why))
                return false;
        }
        else if (!arg.empty() && arg[0] == '-')
        {
            why = "unknown option " + arg;
            return false;
        }
        else if (options.input.empty())
        {
            options.input = arg;
        }
        else
        {
            why = "more than one input file";
            return false;
        }
    }
    if (options.input.empty())
    {
        why = "no compiled effect given";
        return false;
    }
    if (options.out.empty())
    {
        why = "--out is required";
        return false;
    }
    if (!isValidOutputName(options.out))
    {
        why = "--out may hold '%' only as one number pattern such as %04d";
        return false;
    }
    return true;
}

namespace
{

// The one "%d" or "%0Nd" of a sequence name: its start, its length and the
// width of the number (0: as long as it is). False if there is none, or any
// other use of '%'.
bool findNumberPattern(const std::string& out, size_t& start, size_t& length, int& width)
{
    start = out.find('%');
    if (start == std::string::npos)
        return false;
    size_t i = start + 1;
    width = 0;
    while (i < out.size() && out[i] >= '0' && out[i] <= '9' && width < 100)
        width = width * 10 + (out[i++] - '0');
    if (i >= out.size() || out[i] != 'd')
        return false;
    length = i + 1 - start;
    return out.find('%', i + 1) == std::string::npos;
}

}  // namespace

bool isValidOutputName(const std::string& out)
{
    size_t start = 0, length = 0;
    int width = 0;
    return out.find('%') == std::string::npos || findNumberPattern(out, start, length, width);
}

std::string frameFileName(const std::string& out, int index, int numFrames)
{
    if (numFrames <= 1)
        return out;
    size_t start = 0, length = 0;
    int width = 0;
    if (findNumberPattern(out, start, length, width))
    {
        std::string number = std::to_string(index);
        if (static_cast<int>(number.size()) < width)
            number.insert(0, static_cast<size_t>(width) - number.size(), '0');
        return out.substr(0, start) + number + out.substr(start + length);
    }
    char number[16];
    std::snprintf(number, sizeof(number), "_%04d", index);
    const auto slash = out.find_last_of('/');
    const auto dot = out.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash))
        return out + number;
    return out.substr(0, dot) + number + out.substr(dot);
}

}  // namespace ScintariRender
