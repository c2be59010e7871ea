#pragma once

#include <memory>

#include "particle_layout_model/plm_export_chains.h"
#include "particle_layout_model/plm_export_compiler_bin.h"

namespace Plm
{

// The C# target writes plain C# or C# for Unity; the rules of the check are the same.
enum EnumCsExportType : uint8_t
{
    CET_Generic = 0,
    CET_Unity = 1,
};

// The checks of the text targets (JavaScript, C#, Unity): whether an effect can be exported to
// them at all, so that the editor marks what can't while the user edits. They build the chains
// and count particles as the binary compiler does, and write nothing; the text itself comes from
// the export service. Their results are the base's: getErrorEmitterExporters(),
// hasErrorEmitter(id), getNumValidEmitters().
class SystemExportCompilerJs : public SystemExportCompiler
{
public:
    // The generation of these rules: changes when a check changes.
    static constexpr unsigned int validatorVersion() { return 1; }
    static std::shared_ptr<SystemExportCompilerJs> create(const System& system);

protected:
    using SystemExportCompiler::SystemExportCompiler;
    std::shared_ptr<EmitterExportCompilerBase>
    createEmitterExporter(const Emitter& emitter) override;
};

class SystemExportCompilerCs : public SystemExportCompiler
{
public:
    static constexpr unsigned int validatorVersion() { return 0; }
    static std::shared_ptr<SystemExportCompilerCs> create(const System& system,
                                                          EnumCsExportType type);
    EnumCsExportType type() const { return type_; }

protected:
    SystemExportCompilerCs(const System& system, EnumCsExportType type)
        : SystemExportCompiler(system), type_(type)
    {
    }
    std::shared_ptr<EmitterExportCompilerBase>
    createEmitterExporter(const Emitter& emitter) override;

private:
    EnumCsExportType type_;
};

// The JavaScript target: the seven chains of the binary target, and tighter block rules.
class EmitterExportCompilerJs : public EmitterExportCompilerOld
{
public:
    EmitterExportCompilerJs(const SystemExportCompilerJs& system, const Emitter& emitter);
    const SystemExportCompilerJs& getSystemExporterJs() const { return system_; }
    // Strip constructors can't be exported as text; an expression must translate to
    // JavaScript, to its declared output type.
    bool assertBlock(const Block& block) const override;

private:
    const SystemExportCompilerJs& system_;
};

// The C# and Unity targets: the four chains, and the same tighter rules with C#.
class EmitterExportCompilerCs : public EmitterExportCompilerNew
{
public:
    EmitterExportCompilerCs(const SystemExportCompilerCs& system, const Emitter& emitter);
    const SystemExportCompilerCs& getSystemExporterCs() const { return system_; }
    bool assertBlock(const Block& block) const override;

private:
    const SystemExportCompilerCs& system_;
};

}  // namespace Plm
