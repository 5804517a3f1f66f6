// A row of a list of choices: a number and the text that stands for it.
#pragma once
#include "runtime/property.h"

namespace larch {

class ValueLabelItem : public asyncObject {
 public:
  property<int32_t> Value;
  property<std::string> Label;

  explicit ValueLabelItem(std::shared_ptr<syncTask> group, int32_t value = 0, std::string label = {})
      : asyncObject(std::move(group)), Value(value), Label(std::move(label)) {
    Value.hasValue = Label.hasValue = true; // a bind delivers both at once
  }
};

} // namespace larch
