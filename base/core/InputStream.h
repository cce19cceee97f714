//===- base/core/InputStream.h - Byte streams to read ---------------------===//
//
// A stream of bytes with a default text encoding (UTF-8 unless given) and an endian
// mode for integers (big-endian unless set). A concrete stream overrides readBytes;
// everything else is built on it. Streams are Objects: long-lived ones are held by a
// SmartPtr, locals call allocatedOnStack() after construction.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_INPUTSTREAM_H
#define BASE_CORE_INPUTSTREAM_H

#include "base/core/Char.h"
#include "base/core/Object.h"

namespace base::core {

class String;
class TextEncoding;

/// The byte order of integers on a stream; Native is the processor's, as one block.
enum class EndianMode : int { Big = 0, Little = 1, Native = 2 };

class InputStream : public Object {
public:
  InputStream() noexcept : InputStream(nullptr) {}
  /// A null encoding is UTF-8.
  explicit InputStream(const TextEncoding *encoding) noexcept;

  /// One byte; EOSException at the end.
  virtual unsigned char readByte();
  /// Up to `count` bytes; 0 only at the end of the stream.
  virtual unsigned long readBytes(unsigned char *buffer, unsigned long count) = 0;
  /// Reads and drops `count` bytes, 1024 at a time; EOSException at the end.
  virtual void skipBytes(unsigned long count);
  /// 0 for every stream here.
  [[nodiscard]] virtual unsigned long numBytesAvailable() const { return 0; }
  virtual void close() {}
  [[nodiscard]] virtual bool canChangeTextEncoding() const { return true; }
  virtual void setTextEncoding(const TextEncoding *encoding);
  virtual Char readChar(const TextEncoding *encoding);
  virtual Char readChar();
  virtual String readStringUptoChar(const TextEncoding *encoding, Char terminator,
                                    int maxChars);
  virtual String readString(const TextEncoding *encoding, int maxChars);
  /// To a line feed, which is not kept (a carriage return before it is). At the end of
  /// the stream, the empty string.
  virtual String readLine(const TextEncoding *encoding);
  virtual String readLine();

  [[nodiscard]] EndianMode getEndianMode() const noexcept { return _endianMode; }
  void setEndianMode(EndianMode mode) noexcept { _endianMode = mode; }
  [[nodiscard]] const TextEncoding *getTextEncoding() const noexcept { return _textEncoding; }
  /// Exactly `count` bytes. EOSException when the first attempt gives none; later
  /// attempts are repeated until the count is reached.
  void readReqBytes(unsigned char *buffer, unsigned long count);
  String readStringUptoChar(Char terminator, int maxChars);
  String readString(int maxChars);

  /// The wire form of OutputStream::writeBinaryString: a count of characters in 31
  /// bits, with the top bit set when they come as UTF-16 BE rather than ASCII. The count
  /// is of characters, so a text written with codes above FFFF reads back 2 bytes short
  /// for each of them.
  String readBinaryString();
  /// By the stream's endian mode.
  int readInt32();
  /// Big, Little, and any other mode as the processor's order.
  int readInt32(EndianMode mode);
  int readInt32BE();
  int readInt32LE();
  int readInt32Native();
  long long readInt64Native();
  /// One byte, 0 or 1; IOException "Unexpected value for bool" otherwise.
  bool readBool();
  /// Four bytes in the processor's order, whatever the endian mode.
  float readFloat();

private:
  const TextEncoding *_textEncoding;
  EndianMode _endianMode = EndianMode::Big;
};

} // namespace base::core

#endif // BASE_CORE_INPUTSTREAM_H
