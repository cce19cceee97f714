//===- base/core/Exception.cpp - The failures a caller may handle ---------===//
#include "base/core/Exception.h"

#include "base/core/StringBuilder.h"

namespace base::core {

Exception::Exception(String message, const Exception *cause) : _message(std::move(message)) {
  if (cause != nullptr)
    _cause = cause->clone();
}

NumberFormatException::NumberFormatException(const String &text)
    : Exception(StringBuilder("Invalid number: ") + text), _text(text) {}

InvalidUUIDException::InvalidUUIDException(const String &uuid)
    : Exception(StringBuilder("Invalid UUID: ") + uuid), _uuid(uuid) {}

} // namespace base::core
