//===- base/core/TextEncoding.h - Code points to bytes and back -----------===//
//
// An encoding reads one code point from an InputStream and writes one to an
// OutputStream; strings are built on those two. The nine encodings are stateless
// singletons of static lifetime, safe in any thread. They differ in what they do with
// what does not fit:
//
//   encoding        | reading                      | writing
//   UTF-8           | bad lead or continuation     | above 10FFFF: nothing
//                   | byte: IOException            |
//   ASCII           | 80..FF: IOException          | above 7F: IOException
//   SafeASCII       | 80..FF: "?"                  | above 7F: "?"
//   ExtendedASCII   | every byte                   | above FF: IOException
//   Latin-1         | every byte                   | above FF: "?"
//   UTF-16 LE, BE   | D801..DBFF starts a pair     | from 10000 a pair, unchecked
//   UTF-32 LE, BE   | any value                    | any value
//
// UTF-8 decoding checks only the lead and continuation bits: overlong forms, surrogate
// values and codes above 10FFFF decode. UTF-16 pairs start at D801, not D800: a lone
// D800 reads as itself, and the second unit of a pair is not checked. A UTF-16
// encoding answers 2 as its largest character size, although a pair takes 4 bytes.
// Every read may throw EOSException at the end of the stream.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_TEXTENCODING_H
#define BASE_CORE_TEXTENCODING_H

#include "base/core/Char.h"

namespace base::core {

class InputStream;
class OutputStream;
class String;

class TextEncoding {
public:
  TextEncoding(const TextEncoding &) = delete;
  TextEncoding &operator=(const TextEncoding &) = delete;

  virtual void writeChar(Char c, OutputStream *stream) const = 0;
  /// Each Char by writeChar.
  virtual void writeString(const String &text, OutputStream *stream) const;
  /// `text` is UTF-8 whatever this encoding is; its code points go out in this one.
  virtual void writeString(const char *text, OutputStream *stream) const;
  virtual Char readChar(InputStream *stream) const = 0;
  /// Reads to a code 0 (not kept), `maxChars` characters or the end of the stream. A
  /// `maxChars` of -1 is no limit, other values below 1 read nothing. Other exceptions
  /// than the end of the stream pass through, and the text read so far is lost.
  virtual String readString(InputStream *stream, int maxChars) const;
  /// As readString, and also stops at `terminator`, which is not kept.
  virtual String readStringUptoChar(InputStream *stream, Char terminator, int maxChars) const;
  [[nodiscard]] virtual int getMinCharSizeInBytes() const = 0;
  [[nodiscard]] virtual int getMaxCharSizeInBytes() const = 0;
  /// Bytes of a zero-terminated text, without the terminator.
  [[nodiscard]] virtual unsigned long byteLen(const void *text) const = 0;

  [[nodiscard]] static const TextEncoding *getUTF8();
  [[nodiscard]] static const TextEncoding *getASCII();
  [[nodiscard]] static const TextEncoding *getSafeASCII();
  [[nodiscard]] static const TextEncoding *getExtendedASCII();
  [[nodiscard]] static const TextEncoding *getLatin1();
  [[nodiscard]] static const TextEncoding *getUTF16LE();
  [[nodiscard]] static const TextEncoding *getUTF16BE();
  [[nodiscard]] static const TextEncoding *getUTF32LE();
  [[nodiscard]] static const TextEncoding *getUTF32BE();
  /// UTF-8.
  [[nodiscard]] static const TextEncoding *getOSDefault();
  /// UTF-8.
  [[nodiscard]] static const TextEncoding *getOSAPIDefault();
  /// UTF-32 LE: the form of the Chars inside a String.
  [[nodiscard]] static const TextEncoding *getStringEncoding();
  [[nodiscard]] static unsigned long utf16ByteLen(const void *text);
  [[nodiscard]] static unsigned long utf32ByteLen(const void *text);

protected:
  constexpr TextEncoding() = default;
  // Singletons only: never deleted through this class.
  ~TextEncoding() = default;
};

class UTF8Encoding final : public TextEncoding {
public:
  constexpr UTF8Encoding() = default;
  void writeChar(Char c, OutputStream *stream) const override;
  Char readChar(InputStream *stream) const override;
  int getMinCharSizeInBytes() const override { return 1; }
  int getMaxCharSizeInBytes() const override { return 4; }
  unsigned long byteLen(const void *text) const override;

  /// The bytes of `c` into `out`; returns their number, 0 above 10FFFF.
  static int encode(Char c, unsigned char out[4]) noexcept {
    const uint32_t code = c.code();
    if (code < 0x80) {
      out[0] = static_cast<unsigned char>(code);
      return 1;
    }
    if (code < 0x800) {
      out[0] = static_cast<unsigned char>(0xC0 | code >> 6);
      out[1] = static_cast<unsigned char>(0x80 | (code & 0x3F));
      return 2;
    }
    if (code < 0x10000) {
      out[0] = static_cast<unsigned char>(0xE0 | code >> 12);
      out[1] = static_cast<unsigned char>(0x80 | (code >> 6 & 0x3F));
      out[2] = static_cast<unsigned char>(0x80 | (code & 0x3F));
      return 3;
    }
    if (code <= 0x10FFFF) {
      out[0] = static_cast<unsigned char>(0xF0 | code >> 18);
      out[1] = static_cast<unsigned char>(0x80 | (code >> 12 & 0x3F));
      out[2] = static_cast<unsigned char>(0x80 | (code >> 6 & 0x3F));
      out[3] = static_cast<unsigned char>(0x80 | (code & 0x3F));
      return 4;
    }
    return 0;
  }
  /// Reads one code point from `next` (which must be before `end`) exactly as readChar
  /// reads it from a stream, and moves `next` behind it. One- and two-byte sequences are
  /// read here; longer ones and every failure by decodeSequence.
  static Char decode(const unsigned char *&next, const unsigned char *end) {
    const unsigned char lead = *next;
    if (lead < 0x80) {
      ++next;
      return Char(lead);
    }
    if ((lead & 0xE0) == 0xC0 && end - next >= 2 && (next[1] & 0xC0) == 0x80) {
      const Char c((lead & 0x1Fu) << 6 | (next[1] & 0x3Fu));
      next += 2;
      return c;
    }
    return decodeSequence(next, end);
  }

private:
  static Char decodeSequence(const unsigned char *&next, const unsigned char *end);
};

#define BASE_CORE_SINGLE_BYTE_ENCODING(Name)                                              \
  class Name final : public TextEncoding {                                                \
  public:                                                                                 \
    constexpr Name() = default;                                                           \
    void writeChar(Char c, OutputStream *stream) const override;                          \
    Char readChar(InputStream *stream) const override;                                    \
    int getMinCharSizeInBytes() const override { return 1; }                              \
    int getMaxCharSizeInBytes() const override { return 1; }                              \
    unsigned long byteLen(const void *text) const override;                               \
  };
BASE_CORE_SINGLE_BYTE_ENCODING(ASCIIEncoding)
BASE_CORE_SINGLE_BYTE_ENCODING(SafeASCIIEncoding)
BASE_CORE_SINGLE_BYTE_ENCODING(ExtendedASCIIEncoding)
BASE_CORE_SINGLE_BYTE_ENCODING(Latin1Encoding)
#undef BASE_CORE_SINGLE_BYTE_ENCODING

/// UTF-16 or UTF-32, by unit size and byte order.
template <int UnitBytes, bool BigEndian> class UnitEncoding final : public TextEncoding {
public:
  constexpr UnitEncoding() = default;
  void writeChar(Char c, OutputStream *stream) const override;
  Char readChar(InputStream *stream) const override;
  int getMinCharSizeInBytes() const override { return UnitBytes; }
  /// 2 for UTF-16 also: the size of a unit, not of a pair.
  int getMaxCharSizeInBytes() const override { return UnitBytes; }
  unsigned long byteLen(const void *text) const override {
    return UnitBytes == 2 ? utf16ByteLen(text) : utf32ByteLen(text);
  }
};
using UTF16LEEncoding = UnitEncoding<2, false>;
using UTF16BEEncoding = UnitEncoding<2, true>;
using UTF32LEEncoding = UnitEncoding<4, false>;
using UTF32BEEncoding = UnitEncoding<4, true>;

extern const UTF8Encoding gUTF8;
extern const ASCIIEncoding gASCII;
extern const SafeASCIIEncoding gSafeASCII;
extern const ExtendedASCIIEncoding gExtendedASCII;
extern const Latin1Encoding gLatin1;
extern const UTF16LEEncoding gUTF16LE;
extern const UTF16BEEncoding gUTF16BE;
extern const UTF32LEEncoding gUTF32LE;
extern const UTF32BEEncoding gUTF32BE;

} // namespace base::core

#endif // BASE_CORE_TEXTENCODING_H
