//===- base/core/OutputStream.h - Byte streams to write -------------------===//
//
// The writing twin of InputStream: a default text encoding, an endian mode, and one
// byte-block operation for concrete streams to override.
//
// Integers go out one writeByte at a time in the Big and Little modes, and as one
// writeBytes block only in the Native forms: on a stream with too little room, a byte
// form writes what fits before it throws, a block form writes nothing.
//
// Of the writeLine forms, only the one without an encoding that takes a StringBuilder
// ends the line with a line feed; the others that take a StringBuilder write the text
// and flush. The String and text forms always add the line feed.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_OUTPUTSTREAM_H
#define BASE_CORE_OUTPUTSTREAM_H

#include "base/core/InputStream.h"

namespace base::core {

class StringBuilder;

class OutputStream : public Object {
public:
  OutputStream() noexcept : OutputStream(nullptr) {}
  /// A null encoding is UTF-8.
  explicit OutputStream(const TextEncoding *encoding) noexcept;

  virtual void writeByte(unsigned char byte);
  virtual void writeBytes(const unsigned char *bytes, unsigned long count) = 0;
  [[nodiscard]] virtual bool canChangeTextEncoding() const { return true; }
  virtual void setTextEncoding(const TextEncoding *encoding);
  virtual void writeString(const String &text, const TextEncoding *encoding);
  virtual void writeString(const String &text);
  /// `text` is UTF-8; it goes out in `encoding`.
  virtual void writeString(const char *text, const TextEncoding *encoding);
  virtual void writeString(const char *text);
  virtual void writeChar(Char c, const TextEncoding *encoding);
  virtual void writeChar(Char c);
  /// The text, a line feed, then flush().
  virtual void writeLine(const String &text, const TextEncoding *encoding);
  virtual void writeLine(const char *text, const TextEncoding *encoding);
  virtual void flush() {}
  virtual void close() {}

  [[nodiscard]] EndianMode getEndianMode() const noexcept { return _endianMode; }
  void setEndianMode(EndianMode mode) noexcept { _endianMode = mode; }
  [[nodiscard]] const TextEncoding *getTextEncoding() const noexcept { return _textEncoding; }
  void writeLine(const String &text);
  /// The text and flush(): no line feed.
  void writeLine(const StringBuilder &text, const TextEncoding *encoding);
  /// The text, flush(), a line feed, flush().
  void writeLine(const StringBuilder &text);
  void writeLine(const char *text);
  void writeLine();

  /// A count of characters in the low 31 bits of a writeInt32 by the endian mode, its
  /// top bit set unless every code is below 128, then each character as one ASCII byte
  /// or as UTF-16 BE. No terminator.
  void writeBinaryString(const String &text);
  /// By the stream's endian mode; an unknown mode is an illegal state and writes nothing.
  void writeInt32(int value);
  /// Big or Little; any other mode writes nothing. The forms with Big, Little or Native
  /// in their name ignore the stream's mode.
  void writeInt32(int value, EndianMode mode);
  void writeInt32LE(int value);
  void writeInt32BE(int value);
  void writeInt64LE(long long value);
  void writeInt64BE(long long value);
  void writeInt64(long long value, EndianMode mode);
  /// One block of the processor's bytes.
  void writeInt32Native(int value);
  void writeInt64Native(long long value);
  /// One byte, 0 or 1.
  void writeBool(bool value);
  /// The four bytes of the IEEE 754 value in the processor's order, as one block.
  void writeFloat(float value);

private:
  const TextEncoding *_textEncoding;
  EndianMode _endianMode = EndianMode::Big;
};

} // namespace base::core

#endif // BASE_CORE_OUTPUTSTREAM_H
