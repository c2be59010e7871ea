// scintari-render: the drawing half of `scintari render`. The scintari tool
// links no GUI module and runs this program, which sits beside it, for the
// command; it can also be run by itself with the same arguments.
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <QGuiApplication>

#include "render_effect.h"
#include "render_help.h"
#include "render_options.h"

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    for (const auto& arg : args)
    {
        if (arg == "--help" || arg == "-h")
        {
            std::cout << ScintariRender::kHelp;
            return 0;
        }
    }
    ScintariRender::Options options;
    std::string why;
    if (!ScintariRender::parseOptions(args, options, why))
    {
        std::cerr << "scintari render: " << why << "\n\n" << ScintariRender::kHelp;
        return 1;
    }
    // Without a display there is nothing to draw on but Qt's offscreen platform.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
        qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    int qtArgc = 1;
    char* qtArgv[] = {argv[0], nullptr};
    QGuiApplication app(qtArgc, qtArgv);
    return ScintariRender::renderEffect(options, std::cout, std::cerr);
}
