// SPDX-License-Identifier: MIT
// The folder where the tool keeps its own files: publishers' locks, holder notes and take-over
// requests, the demo's reports. Only this account can write it, so no other account can stop,
// block or redirect a publisher through them.
// - Linux: $XDG_RUNTIME_DIR/volmtime where that folder is the account's own and no other
//   account may write it, else volmtime-UID in the temp folder. The folder is made with mode
//   0700, opened without following links and used only while it belongs to the account;
//   every file in it is opened without following links.
// - Windows: volmtime in the account's own temp folder.
// The folder goes when the last of its files does.
#ifndef TOOLS_VOLMTIME_PRIVATEFOLDER_H
#define TOOLS_VOLMTIME_PRIVATEFOLDER_H

#include <memory>
#include <string>

class PrivateFolder {
 public:
  // Throws std::runtime_error naming the folder and why it cannot be used.
  PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;
  ~PrivateFolder();

  // Where the folder is, to name it and to hand a file in it to another program.
  [[nodiscard]] std::string Path() const;
  [[nodiscard]] std::string PathOf(const std::string& file) const;

  // The file's text; empty when it does not exist.
  [[nodiscard]] std::string Read(const std::string& file) const;
  // Replaces the file's text, making the folder and the file as needed. Throws
  // std::runtime_error when it cannot.
  void Write(const std::string& file, const std::string& text) const;
  [[nodiscard]] bool Exists(const std::string& file) const;
  void Remove(const std::string& file) const noexcept;
  // Removes the folder unless something is left in it.
  void RemoveIfEmpty() const noexcept;

  // Held by one process of the account at a time; the system drops it when its holder ends
  // in any way. Letting go of it leaves nothing behind.
  class Lock {
   public:
    virtual ~Lock() = default;
  };
  // The lock called `file`, or null while another process holds it. Throws
  // std::runtime_error when it cannot be asked for.
  [[nodiscard]] std::unique_ptr<Lock> TryLock(const std::string& file) const;

  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

#endif  // TOOLS_VOLMTIME_PRIVATEFOLDER_H
