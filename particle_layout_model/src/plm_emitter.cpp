#include "particle_layout_model/plm_emitter.h"

#include <algorithm>

#include "boost_ext/boost_ext_uuid.h"
#include "particle_layout_model/plm_block_param.h"

namespace Plm {

Emitter::Emitter(std::string name)
    : name_(std::move(name)), id_(BoostExt::generateUuid()),
      systemReflId_(BoostExt::generateUuid()), revision_(BoostExt::generateUuid()) {}

Emitter::~Emitter() = default;

Block& Emitter::addBlock(std::unique_ptr<Block> block) {
  DEBUG_ASSERT(block && !getBlockById(block->getId()));
  Block& added = *block;
  blocks_.push_back(std::move(block));
  added.connectWithOwner(*this, {});
  if (added.castToBlockGlobParam()) notifyGlobalParametersUpdated();
  upgradeRevision(true);
  return added;
}

void Emitter::removeBlock(const boost::uuids::uuid& id) {
  auto it = std::find_if(blocks_.begin(), blocks_.end(),
                         [&](const std::unique_ptr<Block>& b) { return b->getId() == id; });
  DEBUG_ASSERT(it != blocks_.end());
  const bool globParam = (*it)->castToBlockGlobParam() != nullptr;
  links_.erase(std::remove_if(links_.begin(), links_.end(),
                              [&](const BlockLink& link) {
                                return link.output_.blockId == id || link.input_.blockId == id;
                              }),
               links_.end());
  blocks_.erase(it);
  if (globParam) notifyGlobalParametersUpdated();
  upgradeRevision(true);
}

Block& Emitter::getBlock(unsigned int i) const {
  DEBUG_ASSERT(i < blocks_.size());
  return *blocks_[i];
}

Block* Emitter::getBlockById(const boost::uuids::uuid& id) const {
  for (const std::unique_ptr<Block>& block : blocks_)
    if (block->getId() == id) return block.get();
  return nullptr;
}

void Emitter::moveBlock(unsigned int from, unsigned int to) {
  DEBUG_ASSERT(from < blocks_.size() && to < blocks_.size());
  std::unique_ptr<Block> block = std::move(blocks_[from]);
  blocks_.erase(blocks_.begin() + from);
  const bool globParam = block->castToBlockGlobParam() != nullptr;
  blocks_.insert(blocks_.begin() + to, std::move(block));
  // The order of the global parameters is the order of the inputs that attach the emitter.
  if (globParam) notifyGlobalParametersUpdated();
  upgradeRevision(true);
}

std::vector<const BlockGlobParam*> Emitter::globParamBlocks() const {
  std::vector<const BlockGlobParam*> params;
  for (const std::unique_ptr<Block>& block : blocks_)
    if (const BlockGlobParam* param = static_cast<const Block&>(*block).castToBlockGlobParam())
      params.push_back(param);
  return params;
}

void Emitter::notifyGlobalParametersUpdated() { globalParametersUpdated_ = true; }

const BlockLink& Emitter::getLink(unsigned int i) const {
  DEBUG_ASSERT(i < links_.size());
  return links_[i];
}

boost::optional<unsigned int> Emitter::getLinkIndex(const BlockLink& link) const {
  auto it = std::find(links_.begin(), links_.end(), link);
  if (it == links_.end()) return boost::none;
  return static_cast<unsigned int>(it - links_.begin());
}

bool Emitter::createLink(const BlockLink& link) {
  if (getLinkIndex(link)) return false;
  DEBUG_EXPECT(link.output_.desc_.type_ == link.input_.desc_.type_);
  if (link.output_.desc_.type_ != link.input_.desc_.type_) return false;
  links_.erase(std::remove_if(links_.begin(), links_.end(),
                              [&](const BlockLink& l) {
                                return l.output_ == link.input_ || l.input_ == link.input_;
                              }),
               links_.end());
  links_.push_back(link);
  upgradeRevision(true);
  return true;
}

bool Emitter::createLink(const Block& output, unsigned int outputIndex, const Block& input,
                         unsigned int inputIndex) {
  return createLink(
      BlockLink{output.getConnectorById(outputIndex), input.getConnectorById(inputIndex)});
}

void Emitter::removeLink(const BlockLink& link) {
  boost::optional<unsigned int> index = getLinkIndex(link);
  if (!index) return;
  links_.erase(links_.begin() + *index);
  upgradeRevision(true);
}

void Emitter::removeObsoleteBlockLinksAfterConnectorsUpdate(const Block& block, AccessKey<Block>) {
  auto obsolete = [&](const BlockConnector& side) {
    return side.blockId == block.getId() && !block.getConnectorIndexByDesc(side.desc_);
  };
  const size_t before = links_.size();
  links_.erase(std::remove_if(links_.begin(), links_.end(),
                              [&](const BlockLink& link) {
                                return obsolete(link.output_) || obsolete(link.input_);
                              }),
               links_.end());
  if (links_.size() != before) upgradeRevision(true);
}

std::unique_ptr<Block> Emitter::reflectBlock(const Block& block, const ReflectionSourceRef& ref) {
  return block.reflect(ref, {});
}

void Emitter::upgradeRevision(bool affectsExport) {
  revision_ = BoostExt::generateUuid();
  if (owner_) owner_->notifyDeepChanged(affectsExport);
}

}  // namespace Plm
