#pragma once

#include <string>

#include "particle_layout_model/plm_block_kind.h"

namespace Plm
{

// A value that each particle carries.
class BlockParam : public Block
{
public:
    using Block::castToBlockParam;
    BlockParam* castToBlockParam() override { return this; }
    virtual BlockParamUser* castToBlockParamUser() { return nullptr; }
    virtual BlockParamEmitter* castToBlockParamEmitter() { return nullptr; }
    const BlockParamUser* castToBlockParamUser() const
    {
        return const_cast<BlockParam*>(this)->castToBlockParamUser();
    }
    const BlockParamEmitter* castToBlockParamEmitter() const
    {
        return const_cast<BlockParam*>(this)->castToBlockParamEmitter();
    }

protected:
    BlockParam() = default;
    explicit BlockParam(LoadFlag flag) : Block(flag) {}
    BlockParam(const BlockParam&) : Block() {}
};

// A value that exists once for the emitter.
class BlockGlob : public Block
{
public:
    using Block::castToBlockGlob;
    BlockGlob* castToBlockGlob() override { return this; }

protected:
    BlockGlob() = default;
    explicit BlockGlob(LoadFlag flag) : Block(flag) {}
    BlockGlob(const BlockGlob&) : Block() {}
};

// A global value fed in from outside the emitter, found by other emitters through its
// "glob_param_id", which every reflection of the block keeps.
class BlockGlobParam : public BlockGlob
{
public:
    using Block::castToBlockGlobParam;
    BlockGlobParam* castToBlockGlobParam() override { return this; }

    const boost::uuids::uuid& getGlobParamId() const { return globParamId_.get(); }
    virtual EnumConnectorType getConnectorType() const = 0;
    virtual const std::string& getName() const = 0;
    virtual void setName(const boost::optional<std::string>& name) = 0;

protected:
    BlockGlobParam();
    explicit BlockGlobParam(LoadFlag flag);
    BlockGlobParam(const BlockGlobParam& other);

    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;
    // "glob_param_id", which a reflection always takes from its source.
    void syncGlobParamProps(const BlockSyncer& syncer);

private:
    SharedProp<boost::uuids::uuid> globParamId_;
};

}  // namespace Plm
