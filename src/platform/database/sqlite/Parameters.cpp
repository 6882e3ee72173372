#include "Parameters.h"

#include "ParameterRules.h"
#include "Rows.h"
#include "StoredText.h"

namespace CorvaneQueue::platform_layer {

BoundParameters::BoundParameters(std::span<const Parameter> parameters) : values_(parameters.size()) {
  for (std::size_t i = 0; i < parameters.size(); ++i)
    if (parameters[i].Direction == adParamInput) values_[i] = converted(parameters[i]);
}

BoundParameters::Bound BoundParameters::converted(const Parameter& parameter) {
  Bound bound;
  switch (parameter.Type) {
    case adVarWChar: bound.isText = true, bound.text = toStored(checkedText(parameter).view()); break;
    case adDate: bound.isText = true, bound.text = toStoredDate(toDate(parameter.Value.get())); break;
    case adBigInt:
    case adInteger:
    case adSmallInt: bound.isNumber = true, bound.number = checkedNumber(parameter); break;
  }
  return bound;
}

void BoundParameters::bindTo(Statement& statement) const {
  for (int i = 0; i < statement.parameterCount(); ++i) {
    const Bound& value = values_.at(static_cast<std::size_t>(i));
    if (value.isText)
      statement.bindText(i + 1, value.text);
    else if (value.isNumber)
      statement.bind(i + 1, value.number);
    else
      statement.bindNull(i + 1);
  }
}

std::u16string BoundParameters::shown(std::size_t position) const {
  const Bound& value = values_.at(position);
  return value.isNumber ? decimal(value.number) : std::u16string(fromStored(value.text).view());
}

}  // namespace CorvaneQueue::platform_layer
