// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quorra::simulator {

// A file descriptor that closes itself.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor();

  int get() const { return descriptor_; }
  bool is_open() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

// Gives standard input, output and error a descriptor if the program was started without: files and
// devices opened later must not take their numbers. Reading or writing them still fails.
void occupy_standard_streams();

// The text of the last failed system call of this thread.
std::string system_error_text();

// The content of a regular file. Throws Error when it cannot be read or is larger than any file
// the virtual reader uses.
std::string read_file(const std::filesystem::path& path);

// Puts `content` in the place of the file's content: the old file stays whole until the new one
// is complete. A symbolic link is followed, and the owner, as far as that is allowed, and the
// permissions of an existing file are kept. The new file is locked as long as what is returned
// lives. Throws Error.
FileDescriptor replace_file(const std::filesystem::path& path, std::string_view content);

// Tells a file from every other file, and from itself after somebody wrote to it.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t node = 0;
  std::uint64_t size = 0;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;

  bool operator==(const FileStamp&) const = default;
};

// The stamp of the file as it is now; absent when there is none.
std::optional<FileStamp> stamp_of(const std::filesystem::path& path);

// Whether both are stamps of one file, whatever was written to it in between.
bool is_same_file(const std::optional<FileStamp>& first, const std::optional<FileStamp>& second);

// Writes bytes over those from `offset` on. False, and nothing is written, when the file cannot be
// opened or does not have that stamp any more. Throws Error.
bool overwrite_part(const std::filesystem::path& path, const FileStamp& stamp, std::uint64_t offset,
                    std::string_view bytes);

// Who works with a file, as a virtual reader does with the image of its card: "another program
// (process 4711)". Absent if nobody has locked it, or it cannot be looked at.
std::optional<std::string> user_of(const std::filesystem::path& path);

// A file that no other virtual reader works with in the meantime: as long as this object lives it
// holds a lock on the file. A kill releases it. Where the file system has no locks there is none.
class LockedFile {
 public:
  // Locks nothing yet.
  explicit LockedFile(std::filesystem::path path) : path_(std::move(path)) {}

  const std::filesystem::path& path() const { return path_; }

  // Locks the file that is there now, if it is not the one that is locked already. Throws Error if
  // there is none, or if another virtual reader has it; the text says which process, if known.
  void lock();
  // Like replace_file(), if no other virtual reader has the file, and no other file has taken the
  // place of the one that was locked. The new file is locked before it takes the place of the old
  // one.
  void replace(std::string_view content);
  // Removes the file if it is still the one that is locked.
  void remove();

 private:
  bool is_in_its_place() const;

  std::filesystem::path path_;
  FileDescriptor file_;
};

// A folder of its own below the system's folder for temporary files; removed, with all it holds,
// by the destructor.
class TemporaryFolder {
 public:
  // Throws Error.
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace quorra::simulator
