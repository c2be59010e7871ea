#pragma once

#include <string>

#include <glm/vec3.hpp>

#include "particle_layout_model/plm_block_construct.h"
#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A ribbon through the particles in the order of their birth, the texture repeated along it.
class BlockConstructStrip : public BlockConstruct
{
    PLM_BLOCK_KIND(BlockConstructStrip, "construct_strip")

public:
    static std::unique_ptr<BlockConstructStrip> create();

    // BlockConstruct
    bool areMeshFactoriesTheSame(const BlockConstruct& other) const override
    {
        return other.castToBlockConstructStrip() != nullptr;
    }
    const BlockConstructStrip* castToBlockConstructStrip() const override { return this; }
    void doMeshExport(Sl::Saver& saver) const override;

    bool hasFreeRotation() const { return hasFreeRotation_.get(); }
    void setHasFreeRotation(const boost::optional<bool>& value);
    PLM_PROP_ACCESSORS(Size, float, size_)
    PLM_EXTERNAL_ACCESSORS(Size, size_)
    PLM_PROP_ACCESSORS(Color, glm::vec3, color_)
    PLM_EXTERNAL_ACCESSORS(Color, color_)
    PLM_PROP_ACCESSORS(Alpha, float, alpha_)
    PLM_EXTERNAL_ACCESSORS(Alpha, alpha_)
    // The length along the strip over which the texture repeats once.
    PLM_PROP_ACCESSORS(TexRepeatDist, float, texRep_)
    PLM_EXTERNAL_ACCESSORS(TexRepeatDist, texRep_)

    void doExport(EmitterExportCompilerBin& compiler, unsigned int operId) const override;

    void updateConnectors() override;

protected:
    BlockConstructStrip();
    explicit BlockConstructStrip(LoadFlag flag);
    BlockConstructStrip(const BlockConstructStrip& other);

    std::unique_ptr<Block> copyImpl() const override;
    void syncReflectionImpl(const BlockSyncer& syncer) override;
    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;

private:
    SharedProp<bool> hasFreeRotation_;
    Prop<float> size_;
    Prop<glm::vec3> color_;
    Prop<float> alpha_;
    Prop<float> texRep_;
};

}  // namespace Plm
