#pragma once

/// Sets a field that has another value: setting it always would notify, and drop caches, for
/// nothing.
/// @return whether it was set
template <class Field, class Value>
bool setIfDifferent(Field& field, const Value& value)
{
  if (field.getValue() == value) return false;
  field.setValue(value);
  return true;
}
