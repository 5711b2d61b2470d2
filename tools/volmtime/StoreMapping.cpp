// SPDX-License-Identifier: MIT
#include "StoreMapping.h"

#include "StoreObject.h"

#include <boost/interprocess/exceptions.hpp>
#include <boost/interprocess/mapped_region.hpp>

#include <stdexcept>

namespace bip = boost::interprocess;

struct StoreMapping::Impl {
  explicit Impl(const std::string& name)
      : object(bip::open_only, name.c_str(), bip::read_only), region(object, bip::read_only) {}
  StoreObject object;
  bip::mapped_region region;
};

StoreMapping::StoreMapping(const std::string& name) {
  try {
    impl_ = std::make_unique<Impl>(name);
  } catch (const bip::interprocess_exception& failure) {
    throw std::runtime_error(failure.what());
  }
}

StoreMapping::~StoreMapping() = default;
const void* StoreMapping::Address() const { return impl_->region.get_address(); }
std::size_t StoreMapping::Size() const { return impl_->region.get_size(); }
