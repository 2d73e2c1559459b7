// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "quillmark/object.h"
#include "quillmark/platform.h"

namespace quillmark::workers {

/// Makes an object of a class for the platform on which it will work.
using ClassFactory = std::function<std::shared_ptr<Object>(const std::shared_ptr<Platform>&)>;

/// The classes that a platform can create, by ProgID. May be used from several threads at once.
class ClassRegistry {
 public:
  void Register(std::string progID, ClassFactory factory);

  /// The factory of a class, to be called without a lock; empty for an unknown one.
  [[nodiscard]] ClassFactory Find(std::string_view progID) const;

  /// An object of a class. Raises 0x80040154 for an unknown one.
  [[nodiscard]] std::shared_ptr<Object> Create(std::string_view progID,
                                               const std::shared_ptr<Platform>& platform) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, ClassFactory, std::less<>> factories_;
};

}  // namespace quillmark::workers
