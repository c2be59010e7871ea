#pragma once

#include <map>
#include <memory>
#include <vector>

#include "particle_layout_model/plm_crc_string.h"

namespace Plm {

class Block;

// Makes blocks by their factory name, for reading files. One process-wide instance.
class BlocksFactory {
 public:
  using CreateForLoad = std::unique_ptr<Block> (*)();

  static const BlocksFactory& instance();

  // A new block of that kind, built for load() to fill; null for an unknown name.
  std::unique_ptr<Block> createForLoadByName(const CrcString& name) const;
  // Every registered name, in the order of the catalogue.
  const std::vector<CrcString>& names() const { return names_; }

 private:
  BlocksFactory();
  template <class T>
  void addFactory();

  std::map<CrcString, CreateForLoad> factories_;
  std::vector<CrcString> names_;
};

}  // namespace Plm
