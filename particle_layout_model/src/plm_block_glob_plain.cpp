#include "particle_layout_model/plm_block_glob_plain.h"

#include "plm_export_block_writers.h"

namespace Plm
{

void exportPlainGlobal(EmitterExportCompilerBin& compiler, unsigned int operId,
                       Ps::EnumOperationFactories factory)
{
    DEBUG_ASSERT(operId == 0);
    compiler.registerOpOutput(0, 0);
    // The runtime reads the value from the emitter instance: nothing to store.
    const ExportBin::OperationScope operation(compiler, factory);
}

}  // namespace Plm
