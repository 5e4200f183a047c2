// A variable set for a scope, given its earlier value back on every way out (a throw included).
#pragma once

#include <utility>

namespace qorvintr::support {

template <class T>
class Restoring {
 public:
  Restoring(T& variable, T value)
      : variable_(variable), earlier_(std::exchange(variable, std::move(value))) {}
  ~Restoring() { variable_ = std::move(earlier_); }
  Restoring(const Restoring&) = delete;
  Restoring& operator=(const Restoring&) = delete;

 private:
  T& variable_;
  T earlier_;
};

}  // namespace qorvintr::support
