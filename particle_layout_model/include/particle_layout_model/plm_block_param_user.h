#pragma once

#include <string>

#include "particle_layout_model/plm_block_param.h"

namespace Plm
{

// A value that the user names and that each particle carries: it starts with the value of
// its input and is changed by updater blocks.
class BlockParamUser : public BlockParam
{
public:
    using BlockParam::castToBlockParamUser;
    BlockParamUser* castToBlockParamUser() override { return this; }

    // The block as a user parameter, or null (also for a null block).
    static const BlockParamUser* castToThis(const Block* block);
    static BlockParamUser* castToThis(Block* block);

    PLM_PROP_ACCESSORS(Name, std::string, name_)
    bool isSharedBurst() const { return sharedBurst_.get(); }
    void setSharedBurst(const boost::optional<bool>& value)
    {
        setPropAndNotify(sharedBurst_, value);
    }

    virtual EnumConnectorType getConnectorType() const = 0;
    virtual bool isValueExternal() const = 0;
    virtual void setValueExternal(bool external) = 0;

protected:
    BlockParamUser();
    explicit BlockParamUser(LoadFlag flag);
    BlockParamUser(const BlockParamUser& other);

    void saveImpl(Sl::RevisionSaver& saver) const override;
    void loadImpl(Sl::RevisionLoader& loader) override;
    // "name" and "shared_burst", the properties every user parameter starts with.
    void syncUserProps(const BlockSyncer& syncer);

private:
    SharedProp<std::string> name_;
    // All particles of one burst share the value.
    Prop<bool> sharedBurst_;
};

}  // namespace Plm
