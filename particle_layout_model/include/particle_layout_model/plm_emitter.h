#pragma once

#include <memory>
#include <string>
#include <vector>

#include <boost/optional/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include "particle_layout_model/plm_block.h"

namespace Plm {

class Emitter;
class System;

// What an emitter knows of its surroundings: the effect it lies in, if any.
class EmitterOwner {
 public:
  virtual ~EmitterOwner() = default;
  virtual System* getSystem() = 0;
  virtual void notifyDeepChanged(bool affectsExport) = 0;
};

// The graph of one stream of particles: its blocks and the links between them. This is the
// emitter as a container of blocks and links; its settings, guide, files and reflection are
// built on top of it.
class Emitter : public BlockOwner {
 public:
  explicit Emitter(std::string name);
  ~Emitter() override;
  Emitter(const Emitter&) = delete;
  Emitter& operator=(const Emitter&) = delete;

  void connectWithOwner(EmitterOwner& owner) { owner_ = &owner; }
  System* getSystem() const { return owner_ ? owner_->getSystem() : nullptr; }

  const std::string& getName() const { return name_; }
  const boost::uuids::uuid& getId() const { return id_; }
  const boost::uuids::uuid& getSystemReflId() const { return systemReflId_; }
  const boost::uuids::uuid& getRevision() const { return revision_; }
  // Set when a global parameter came, went or was renamed; cleared by whoever reacts to it.
  bool globalParametersUpdated() const { return globalParametersUpdated_; }
  void clearGlobalParametersUpdated() { globalParametersUpdated_ = false; }

  // Blocks.
  Block& addBlock(std::unique_ptr<Block> block);
  void removeBlock(const boost::uuids::uuid& id);
  unsigned int getNumBlocks() const { return static_cast<unsigned int>(blocks_.size()); }
  Block& getBlock(unsigned int i) const;
  Block* getBlockById(const boost::uuids::uuid& id) const;
  // Moves the block at `from` so that it stands at `to`; the others keep their order.
  void moveBlock(unsigned int from, unsigned int to);
  // The global parameters of the emitter, in the order of its blocks.
  std::vector<const BlockGlobParam*> globParamBlocks() const;
  void notifyGlobalParametersUpdated();

  // Links.
  unsigned int getNumLinks() const { return static_cast<unsigned int>(links_.size()); }
  const BlockLink& getLink(unsigned int i) const;
  boost::optional<unsigned int> getLinkIndex(const BlockLink& link) const;
  // False for a link that exists already or joins two types; an input has one feeder, so a
  // link on an input replaces the one there.
  bool createLink(const BlockLink& link);
  bool createLink(const Block& output, unsigned int outputIndex, const Block& input,
                  unsigned int inputIndex);
  void removeLink(const BlockLink& link);
  void removeObsoleteBlockLinksAfterConnectorsUpdate(const Block& block, AccessKey<Block>);

  void upgradeRevision(bool affectsExport);

  // A reflection of `block` with that source, not yet added anywhere.
  std::unique_ptr<Block> reflectBlock(const Block& block, const ReflectionSourceRef& ref);

  // BlockOwner
  ProjectResource* getProjectResource() override { return nullptr; }
  SystemResource* getSystemResource() override { return nullptr; }
  Emitter* getEmitter() override { return this; }
  void notifyDeepChanged(bool affectsExport) override { upgradeRevision(affectsExport); }
  bool isLockedByParentReflection(const Block& block) const override { return false; }

 private:
  EmitterOwner* owner_ = nullptr;
  std::string name_;
  boost::uuids::uuid id_;
  boost::uuids::uuid systemReflId_;
  boost::uuids::uuid revision_;
  bool globalParametersUpdated_ = false;
  std::vector<std::unique_ptr<Block>> blocks_;
  std::vector<BlockLink> links_;
};

}  // namespace Plm
