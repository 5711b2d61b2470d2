// SPDX-License-Identifier: MIT
// The root interface of every VolmTime object, the error-fetching interface and the error and
// string objects. The order of the operations in each interface is its slot order in the
// table of virtual functions and must not change.
#ifndef VOLMTIME_IVOLMUNKNOWN_H
#define VOLMTIME_IVOLMUNKNOWN_H

#include <VolmTime/VolmTypes.h>

class IVolmUnknown {
 public:
  // Adds a reference; returns the new count.
  virtual std::uint32_t AddRef() = 0;
  // Gives a reference back; returns the new count. The object is gone when it returns 0.
  virtual std::uint32_t Release() = 0;
  // VOLM_S_OK with a new reference in *object, or VOLM_E_NOINTERFACE with null in *object.
  virtual VolmResult QueryInterface(const VolmId& id, void** object) = 0;

 protected:
  ~IVolmUnknown() = default;
};

class IVolmWideCharString : public IVolmUnknown {
 public:
  virtual VolmResult Assign(const VolmWideChar* text) = 0;
  // The object's own zero-terminated text, valid until the next Assign or the last Release.
  virtual VolmResult GetBuffer(const VolmWideChar** text) = 0;
  // Number of 16-bit characters without the terminator.
  virtual VolmResult GetLength(std::uint32_t* length) = 0;

 protected:
  ~IVolmWideCharString() = default;
};

class IVolmError : public IVolmUnknown {
 public:
  // The error's result code, returned as the call's own result.
  virtual VolmResult GetCode() = 0;
  // The error's text with one reference for the caller; a null argument is ignored.
  virtual VolmResult GetText(IVolmWideCharString** text) = 0;

 protected:
  ~IVolmError() = default;
};

class IGetVolmError : public IVolmUnknown {
 public:
  // The object's last error (null when its last operation succeeded) with one reference for
  // the caller. Always VOLM_S_OK; a null argument is ignored.
  virtual VolmResult GetError(IVolmError** error) = 0;

 protected:
  ~IGetVolmError() = default;
};

#endif  // VOLMTIME_IVOLMUNKNOWN_H
