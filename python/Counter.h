// SPDX-License-Identifier: MIT
// volmtime.Counter: the high-resolution tick counter.
#ifndef PYTHON_COUNTER_H
#define PYTHON_COUNTER_H

#include "Object.h"

namespace VolmPython {

class Counter : public Object {
 public:
  Counter(std::shared_ptr<Library> library, Ref<IHighResolutionCounter> counter)
      : Object(std::move(library)), counter_(std::move(counter)) {}
  ~Counter() override { Close(); }
  void Close() override { counter_.Reset(); }
  [[nodiscard]] bool Closed() const override { return counter_.Get() == nullptr; }

  [[nodiscard]] std::uint64_t Tick() const;
  [[nodiscard]] std::uint64_t Frequency() const;
  [[nodiscard]] pybind11::str Name() const;

 private:
  [[nodiscard]] IHighResolutionCounter* Get() const { return Open(counter_, "counter"); }
  Ref<IHighResolutionCounter> counter_;
};

}  // namespace VolmPython

#endif  // PYTHON_COUNTER_H
