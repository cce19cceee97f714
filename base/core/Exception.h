//===- base/core/Exception.h - The failures a caller may handle -----------===//
//
// Every recoverable failure of base::core is thrown by value as one of these and caught
// by reference. They are Objects: code that keeps one past its handler calls clone()
// (a heap copy with a count of 0, sharing the message and the cause). A cause is always
// held as a clone, so the exception it came from may die first.
//
//   Exception
//     IOException               bad encodings, stream failures
//       EOSException            "End of stream"
//     NumberFormatException     "Invalid number: " and the text
//     InvalidUUIDException      "Invalid UUID: " and the text
//     ProcessException          child processes and the developer dialog
//
// AssertionFailedException is not an Exception: a handler for Exception does not catch
// a broken invariant.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_EXCEPTION_H
#define BASE_CORE_EXCEPTION_H

#include "base/core/Object.h"
#include "base/core/String.h"

namespace base::core {

class Exception : public Object {
public:
  /// Holds a clone of `cause` when it is not null.
  explicit Exception(String message, const Exception *cause = nullptr);
  /// Shares the message and the cause; the copy starts with a count of 0.
  Exception(const Exception &other) : Object(), _message(other._message), _cause(other._cause) {}
  Exception &operator=(const Exception &) = delete;

  [[nodiscard]] virtual Exception *clone() const = 0;
  [[nodiscard]] virtual String getMessage() const { return _message; }
  [[nodiscard]] const Exception *getCause() const noexcept { return _cause.get(); }

private:
  String _message;
  SmartPtr<Exception> _cause;
};

class IOException : public Exception {
public:
  explicit IOException(String message) : Exception(std::move(message)) {}
  [[nodiscard]] Exception *clone() const override { return new IOException(*this); }
};

class EOSException : public IOException {
public:
  EOSException() : IOException("End of stream") {}
  [[nodiscard]] Exception *clone() const override { return new EOSException(*this); }
};

class NumberFormatException : public Exception {
public:
  /// "Invalid number: " and `text`.
  explicit NumberFormatException(const String &text);
  NumberFormatException(String message, String text)
      : Exception(std::move(message)), _text(std::move(text)) {}
  [[nodiscard]] Exception *clone() const override { return new NumberFormatException(*this); }
  /// The text that is no number, without the message's words.
  [[nodiscard]] String getText() const { return _text; }

private:
  String _text;
};

class InvalidUUIDException : public Exception {
public:
  /// "Invalid UUID: " and `uuid`.
  explicit InvalidUUIDException(const String &uuid);
  [[nodiscard]] Exception *clone() const override { return new InvalidUUIDException(*this); }
  [[nodiscard]] String getUUID() const { return _uuid; }

private:
  String _uuid;
};

class ProcessException : public Exception {
public:
  explicit ProcessException(String message) : Exception(std::move(message)) {}
  [[nodiscard]] Exception *clone() const override { return new ProcessException(*this); }
};

/// Thrown by the assertion route with the whole report; copies share the text.
class AssertionFailedException {
public:
  explicit AssertionFailedException(String message) : _message(std::move(message)) {}
  /// The report of the failed assertion.
  [[nodiscard]] String getMessage() const { return _message; }

private:
  String _message;
};

} // namespace base::core

#endif // BASE_CORE_EXCEPTION_H
