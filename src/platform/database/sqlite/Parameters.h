// The parameters of a procedure as statements take them.
#pragma once

#include "DatabaseAccess.h"
#include "Statement.h"

#include <span>
#include <vector>

namespace CorvaneQueue::platform_layer {

// Input parameters are converted; output and return parameters are null. Throws an Error that names the
// parameter for a value that is too long, out of range or not a number.
class BoundParameters {
 public:
  explicit BoundParameters(std::span<const Parameter> parameters);

  void bindTo(Statement& statement) const;
  // For error texts.
  std::u16string shown(std::size_t position) const;

 private:
  struct Bound {
    std::string text;
    std::int64_t number = 0;
    bool isText = false;
    bool isNumber = false;
  };
  static Bound converted(const Parameter& parameter);

  std::vector<Bound> values_;
};

}  // namespace CorvaneQueue::platform_layer
