//===- tests/base_core/StreamTest.cpp - Streams and their wire forms -------===//
#include "base/core/Exception.h"
#include "base/core/MemoryStreams.h"
#include "base/core/StdStreams.h"
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace base::core;
using testsupport::expectIOException;

namespace {

using Bytes = std::vector<unsigned char>;

Bytes written(EndianMode mode, const std::function<void(OutputStream &)> &write) {
  std::string out;
  StdStringOutputStream stream(&out);
  stream.allocatedOnStack();
  stream.setEndianMode(mode);
  write(stream);
  return Bytes(out.begin(), out.end());
}

// Records the bytes and the flushes an OutputStream receives: "ab|" is "ab", flush.
class RecordingStream : public OutputStream {
public:
  void writeBytes(const unsigned char *bytes, unsigned long count) override {
    log.append(reinterpret_cast<const char *>(bytes), count);
  }
  void flush() override { log += '|'; }
  std::string log;
};

// Hands out its bytes in the pieces it is given, an empty piece reading as 0.
class PiecewiseStream : public InputStream {
public:
  explicit PiecewiseStream(std::vector<std::string> pieces) : _pieces(std::move(pieces)) {}
  unsigned long readBytes(unsigned char *buffer, unsigned long count) override {
    if (_next == _pieces.size())
      return 0;
    std::string &piece = _pieces[_next];
    const unsigned long taken = std::min<unsigned long>(count, piece.size());
    std::copy_n(piece.begin(), taken, buffer);
    piece.erase(0, taken);
    if (piece.empty())
      ++_next;
    return taken;
  }

private:
  std::vector<std::string> _pieces;
  size_t _next = 0;
};

} // namespace

TEST(Streams, WireFormsByteForByte) {
  const auto B = EndianMode::Big, L = EndianMode::Little, N = EndianMode::Native;
  const String e9("\xC3\xA9");
  const struct {
    const char *name;
    EndianMode mode;
    std::function<void(OutputStream &)> write;
    Bytes bytes;
  } cases[] = {
      {"int32 big", B, [](OutputStream &s) { s.writeInt32(0x01020304); }, {1, 2, 3, 4}},
      {"int32 little", L, [](OutputStream &s) { s.writeInt32(0x01020304); }, {4, 3, 2, 1}},
      {"int32 native", N, [](OutputStream &s) { s.writeInt32(0x01020304); }, {4, 3, 2, 1}},
      {"int32 negative", B, [](OutputStream &s) { s.writeInt32(-2); }, {0xFF, 0xFF, 0xFF, 0xFE}},
      {"explicit LE ignores mode", B, [](OutputStream &s) { s.writeInt32LE(0x01020304); }, {4, 3, 2, 1}},
      {"explicit BE ignores mode", L, [](OutputStream &s) { s.writeInt32BE(0x01020304); }, {1, 2, 3, 4}},
      {"explicit mode", L, [](OutputStream &s) { s.writeInt32(0x01020304, EndianMode::Big); }, {1, 2, 3, 4}},
      // Only the Big and Little modes are written by the two-argument forms.
      {"explicit native writes nothing", B, [](OutputStream &s) { s.writeInt32(7, EndianMode::Native); }, {}},
      {"int64 explicit native writes nothing", B, [](OutputStream &s) { s.writeInt64(7, EndianMode::Native); }, {}},
      {"int64 BE", L, [](OutputStream &s) { s.writeInt64BE(0x0102030405060708); }, {1, 2, 3, 4, 5, 6, 7, 8}},
      {"int64 LE", B, [](OutputStream &s) { s.writeInt64LE(0x0102030405060708); }, {8, 7, 6, 5, 4, 3, 2, 1}},
      {"int64 explicit little", B, [](OutputStream &s) { s.writeInt64(-1, EndianMode::Little); }, Bytes(8, 0xFF)},
      {"int32 native form", B, [](OutputStream &s) { s.writeInt32Native(0x01020304); }, {4, 3, 2, 1}},
      {"int64 native form", B, [](OutputStream &s) { s.writeInt64Native(0x0102030405060708); }, {8, 7, 6, 5, 4, 3, 2, 1}},
      {"bool", B, [](OutputStream &s) { s.writeBool(true); s.writeBool(false); }, {1, 0}},
      {"float in processor order", B, [](OutputStream &s) { s.writeFloat(1.0f); }, {0, 0, 0x80, 0x3F}},
      {"string ascii", B, [](OutputStream &s) { s.writeBinaryString(String("AB")); }, {0, 0, 0, 2, 'A', 'B'}},
      {"string ascii little", L, [](OutputStream &s) { s.writeBinaryString(String("AB")); }, {2, 0, 0, 0, 'A', 'B'}},
      {"string utf16", B, [&](OutputStream &s) { s.writeBinaryString(e9); }, {0x80, 0, 0, 1, 0, 0xE9}},
      {"string empty", B, [](OutputStream &s) { s.writeBinaryString(String::EMPTY); }, {0, 0, 0, 0}},
      // The count is of characters: the pair of 1F600 goes out as 4 bytes counted as 1.
      {"string above FFFF", B, [](OutputStream &s) { s.writeBinaryString(String("\xF0\x9F\x98\x80")); }, {0x80, 0, 0, 1, 0xD8, 0x3D, 0xDE, 0x00}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(written(c.mode, c.write), c.bytes);
  }
}

TEST(Streams, UnknownEndianModeIsAnIllegalStateAndWritesNothing) {
  std::string out;
  StdStringOutputStream stream(&out);
  stream.allocatedOnStack();
  stream.setEndianMode(static_cast<EndianMode>(3));
  testing::internal::CaptureStderr();
  EXPECT_THROW(stream.writeInt32(1), AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Illegal state: Unknown endian mode"),
            std::string::npos);
  EXPECT_TRUE(out.empty());
}

TEST(Streams, ReadsItsOwnWireForms) {
  for (EndianMode mode : {EndianMode::Big, EndianMode::Little, EndianMode::Native}) {
    const String texts[] = {String("plain"), String("caf\xC3\xA9 \xE2\x82\xAC"), String::EMPTY};
    const Bytes bytes = written(mode, [&](OutputStream &s) {
      s.writeInt32(-123456789);
      s.writeInt32Native(42);
      s.writeInt64Native(-5000000000);
      s.writeBool(true);
      s.writeFloat(-0.15625f);
      for (const String &t : texts)
        s.writeBinaryString(t);
    });
    MemoryInputStream in(bytes.data(), bytes.size());
    in.allocatedOnStack();
    in.setEndianMode(mode);
    EXPECT_EQ(in.readInt32(), -123456789);
    EXPECT_EQ(in.readInt32Native(), 42);
    EXPECT_EQ(in.readInt64Native(), -5000000000);
    EXPECT_TRUE(in.readBool());
    EXPECT_EQ(in.readFloat(), -0.15625f);
    for (const String &t : texts)
      EXPECT_EQ(in.readBinaryString(), t);
    EXPECT_TRUE(in.isEndOfStream());
  }

  const unsigned char mixed[] = {1, 2, 3, 4, 1, 2, 3, 4, 1, 2, 3, 4};
  MemoryInputStream in(mixed, sizeof mixed);
  in.allocatedOnStack();
  EXPECT_EQ(in.readInt32LE(), 0x04030201);
  EXPECT_EQ(in.readInt32BE(), 0x01020304);
  EXPECT_EQ(in.readInt32(static_cast<EndianMode>(9)), 0x04030201); // other modes: native
}

TEST(Streams, ReadingOddWireForms) {
  const unsigned char topBitAlone[] = {0x80, 0, 0, 0};
  MemoryInputStream empty(topBitAlone, sizeof topBitAlone);
  empty.allocatedOnStack();
  EXPECT_TRUE(empty.readBinaryString().isEmpty());

  // A text written with a code above FFFF is read 2 bytes short: the reader stops inside
  // the pair, and the rest of the pair stays in the stream.
  const Bytes pair = written(EndianMode::Big, [](OutputStream &s) {
    s.writeBinaryString(String("a\xF0\x9F\x98\x80"));
  });
  MemoryInputStream in(pair.data(), pair.size());
  in.allocatedOnStack();
  EXPECT_THROW((void)in.readBinaryString(), EOSException);
  EXPECT_EQ(in.readByte(), 0xDE);

  // A long text takes the heap path.
  const String longText(std::string(5000, 'x').c_str());
  const Bytes wire = written(EndianMode::Big, [&](OutputStream &s) { s.writeBinaryString(longText); });
  MemoryInputStream big(wire.data(), wire.size());
  big.allocatedOnStack();
  EXPECT_EQ(big.readBinaryString(), longText);

  const unsigned char two = 2;
  MemoryInputStream badBool(&two, 1);
  badBool.allocatedOnStack();
  expectIOException([&] { (void)badBool.readBool(); }, "Unexpected value for bool");
}

TEST(Streams, RequiredReadLoop) {
  // Pieces of any size are joined, and a later read that gives nothing is asked again.
  PiecewiseStream pieces({"\x01", "", "\x02\x03", "", "", "\x04"});
  pieces.allocatedOnStack();
  EXPECT_EQ(pieces.readInt32BE(), 0x01020304);
  PiecewiseStream ended({});
  ended.allocatedOnStack();
  EXPECT_THROW((void)ended.readInt32(), EOSException);
  EXPECT_THROW((void)ended.readByte(), EOSException);

  std::string large(3000, 'z');
  large += "end";
  PiecewiseStream skipping({large});
  skipping.allocatedOnStack();
  skipping.skipBytes(0);
  skipping.skipBytes(3000);
  EXPECT_EQ(skipping.readString(-1), "end");
  EXPECT_THROW(skipping.skipBytes(1), EOSException);
  EXPECT_EQ(skipping.numBytesAvailable(), 0u);
}

TEST(Streams, MemoryStreamsAtTheirEnds) {
  unsigned char area[3] = {};
  MemoryOutputStream out(area, sizeof area);
  out.allocatedOnStack();
  // Byte by byte: the first three land before the fourth raises.
  EXPECT_THROW(out.writeInt32(0x01020304), IOException);
  EXPECT_EQ(Bytes(area, area + 3), (Bytes{1, 2, 3}));

  unsigned char block[3] = {9, 9, 9};
  MemoryOutputStream blockOut(block, sizeof block);
  blockOut.allocatedOnStack();
  const unsigned char four[4] = {1, 2, 3, 4};
  expectIOException([&] { blockOut.writeBytes(four, 4); }, "End of valid memory area reached");
  EXPECT_THROW(blockOut.writeInt32Native(5), IOException); // a block too: nothing lands
  EXPECT_EQ(Bytes(block, block + 3), (Bytes{9, 9, 9}));
  blockOut.writeBytes(four, 0);
  EXPECT_EQ(blockOut.getPosition(), 0u);

  const char text[] = "a\r\nb";
  MemoryInputStream in(reinterpret_cast<const unsigned char *>(text), 4);
  in.allocatedOnStack();
  EXPECT_EQ(in.numBytesAvailable(), 0u);
  EXPECT_EQ(in.readLine(), "a\r");
  EXPECT_EQ(in.readLine(), "b");
  EXPECT_TRUE(in.readLine().isEmpty());
}

TEST(Streams, WriteLineForms) {
  const StringBuilder builder("sb");
  const struct {
    const char *name;
    std::function<void(OutputStream &)> write;
    const char *log;
  } cases[] = {
      {"String", [](OutputStream &s) { s.writeLine(String("ab")); }, "ab\n|"},
      {"String, encoding", [](OutputStream &s) { s.writeLine(String("ab"), &gLatin1); }, "ab\n|"},
      {"text", [](OutputStream &s) { s.writeLine("ab"); }, "ab\n||"},
      {"text, encoding", [](OutputStream &s) { s.writeLine("\xC3\xA9", &gLatin1); }, "\xE9\n|"},
      // Only the builder form without an encoding ends the line.
      {"builder", [&](OutputStream &s) { s.writeLine(builder); }, "sb|\n|"},
      {"builder, encoding", [&](OutputStream &s) { s.writeLine(builder, &gUTF8); }, "sb|"},
      {"nothing", [](OutputStream &s) { s.writeLine(); }, "\n|"},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    RecordingStream stream;
    stream.allocatedOnStack();
    c.write(stream);
    EXPECT_EQ(stream.log, c.log);
  }

  // The string stream answers that its encoding is fixed, and changes it all the same.
  std::string out;
  StdStringOutputStream stringStream(&out);
  stringStream.allocatedOnStack();
  EXPECT_FALSE(stringStream.canChangeTextEncoding());
  stringStream.setTextEncoding(&gUTF16BE);
  stringStream.writeString("A");
  EXPECT_EQ(out, std::string("\0A", 2));
}

// A buffer that never reports bytes as ready, so every read waits, as on a pipe.
class WaitingBuffer : public std::streambuf {
public:
  explicit WaitingBuffer(std::string data) : _data(std::move(data)) {}

protected:
  std::streamsize showmanyc() override { return 0; }
  int_type underflow() override {
    return _position < _data.size() ? traits_type::to_int_type(_data[_position])
                                     : traits_type::eof();
  }
  int_type uflow() override {
    return _position < _data.size() ? traits_type::to_int_type(_data[_position++])
                                     : traits_type::eof();
  }

private:
  std::string _data;
  size_t _position = 0;
};

TEST(Streams, StandardInputAdapter) {
  std::istringstream text("line one\nline two");
  StdInputStream in(&text, false);
  in.allocatedOnStack();
  EXPECT_EQ(in.readLine(), "line one");
  EXPECT_EQ(in.readLine(), "line two");
  EXPECT_TRUE(in.readLine().isEmpty());

  // A waiting read of the full block that meets the end reports the end, dropping the
  // bytes it got; one that fills the block reports what is ready behind it.
  unsigned char buffer[8];
  WaitingBuffer shortData("abc");
  std::istream shortStream(&shortData);
  StdInputStream shortIn(&shortStream, false);
  shortIn.allocatedOnStack();
  EXPECT_EQ(shortIn.readBytes(buffer, sizeof buffer), 0u);
  WaitingBuffer longData("0123456789");
  std::istream longStream(&longData);
  StdInputStream longIn(&longStream, false);
  longIn.allocatedOnStack();
  EXPECT_EQ(longIn.readBytes(buffer, 4), 0u);

  std::istringstream failed("x");
  failed.setstate(std::ios::failbit);
  StdInputStream failing(&failed, false);
  failing.allocatedOnStack();
  expectIOException([&] { (void)failing.readByte(); }, "Error reading from stream");
}

TEST(Streams, StandardOutputAdapterKeepsLinesWhole) {
  std::ostringstream sink;
  StdOutputStream out(&sink, false);
  out.allocatedOnStack();
  std::vector<std::thread> writers;
  for (char c : {'a', 'b', 'c', 'd'})
    writers.emplace_back([&out, c] {
      for (int i = 0; i < 200; ++i)
        out.writeLine(String(std::string(40, c).c_str()), &gUTF8);
    });
  for (std::thread &t : writers)
    t.join();
  std::istringstream lines(sink.str());
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    EXPECT_EQ(line, std::string(40, line[0]));
  }
  EXPECT_EQ(count, 800);

  sink.setstate(std::ios::badbit);
  expectIOException([&] { out.writeString("x"); }, "Error writing data");
}
