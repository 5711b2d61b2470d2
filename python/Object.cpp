// SPDX-License-Identifier: MIT
#include "Object.h"

#include <set>
#include <vector>

namespace VolmPython {
namespace {

std::set<Object*>& Live() {
  static auto* live = new std::set<Object*>;  // outlives every object, even at exit
  return *live;
}

}  // namespace

Object::Object(std::shared_ptr<Library> library) : library_(std::move(library)) {
  Live().insert(this);
}

Object::~Object() { Live().erase(this); }

void Object::CloseAll() {
  const std::vector<Object*> open(Live().begin(), Live().end());
  for (Object* object : open) object->Close();
}

}  // namespace VolmPython
