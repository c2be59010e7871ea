#pragma once

// What the commands that read the effect model share: listings of emitters, the marks of a
// compilation, effect files, and compiling an effect file in memory for `run` and `render`.

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace Plm
{
class Emitter;
class Project;
class ProjectResourceHandler;
class System;
class SystemExportCompiler;
}  // namespace Plm

namespace Scintari
{

// The listing of one emitter: its name, blocks, links, guide sections and values (the format
// that `scintari emitter --help` documents).
void printEmitter(std::ostream& out, const Plm::Emitter& emitter);

// What keeps an emitter from compiling, one line each, every line starting with `prefix`
// and then "error: ". False if there is nothing.
bool printMarks(std::ostream& out, const Plm::SystemExportCompiler& compiler,
                const Plm::Emitter& emitter, const std::string& prefix = std::string());

// The marks of every emitter of an effect, in order, each line starting with
// "emitter <emitter id> ". False if there is nothing.
bool printSystemMarks(std::ostream& out, const Plm::SystemExportCompiler& compiler,
                      const Plm::System& system);

// True for the name of an effect file (".sxed").
bool isEffectFile(const std::string& path);

// Opens and loads an effect file. On refusal: null, and `why` says why, e.g.
// "'fire.sxed': File is corrupted".
std::shared_ptr<Plm::ProjectResourceHandler> openEffectFile(const std::string& path,
                                                            std::string& why);

// The compiled effect of a whole effect. The marks of the emitters that don't compile go to
// `marks` ("emitter <id> error: ..." lines) and make `complete` false; the effect is
// compiled without them. False, with `why`, when a limit of the compiled format is broken.
bool compileSystem(const Plm::System& system, std::ostream& marks, std::vector<uint8_t>& bytes,
                   bool& complete, std::string& why);

// Opens a project file and reads its folder tree. On refusal: null, and `why` says why, e.g.
// "p.sxproj is not a project file that this program can read: the data is damaged".
std::unique_ptr<Plm::Project> openProject(const std::string& path, std::string& why);

// The project file that an effect file belongs to: the one in the file's folder or in the
// nearest folder above it that holds one. Empty, with `why`, when there is none or a folder
// holds more than one.
std::string findProjectFileFor(const std::string& effectFile, std::string& why);

// What `run` and `render` play: the bytes of a compiled effect, or of an effect file
// compiled in memory (its marks go to `marks`). False, with `why`, for a refused file.
bool readPlayableEffect(const std::string& path, std::vector<uint8_t>& bytes, std::string& why,
                        std::ostream& marks);

}  // namespace Scintari
