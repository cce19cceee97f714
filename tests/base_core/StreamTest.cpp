//===- tests/base_core/StreamTest.cpp - Streams and their wire forms -------===//
#include "base/core/Exception.h"
#include "base/core/MemoryStreams.h"
#include "base/core/StdStreams.h"
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"
#include "tests/support/Expect.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace base::core;
using testsupport::expectIOException;

namespace {

using Bytes = std::vector<unsigned char>;
using Write = std::function<void(OutputStream &)>;

// Records the bytes and the flushes it receives: "ab|" is "ab", flush.
struct RecordingStream : OutputStream {
  void writeBytes(const unsigned char *bytes, unsigned long count) override {
    log.append(reinterpret_cast<const char *>(bytes), count);
  }
  void flush() override { log += '|'; }
  std::string log;
};

Bytes written(EndianMode mode, const Write &write) {
  RecordingStream stream;
  stream.allocatedOnStack();
  stream.setEndianMode(mode);
  write(stream);
  return Bytes(stream.log.begin(), stream.log.end());
}

Bytes bytes(const char *text) { return Bytes(text, text + std::strlen(text)); }

// A local memory stream over bytes that outlive it.
struct Reader : MemoryInputStream {
  Reader(const void *bytes, size_t size)
      : MemoryInputStream(static_cast<const unsigned char *>(bytes), size) {
    allocatedOnStack();
  }
  explicit Reader(const Bytes &bytes) : Reader(bytes.data(), bytes.size()) {}
};

// At most one byte a call, and nothing on every second call, as a slow pipe may answer.
struct TricklingStream : InputStream {
  explicit TricklingStream(std::string text) : bytes(std::move(text)) {}
  unsigned long readBytes(unsigned char *buffer, unsigned long) override {
    if (bytes.empty() || calls++ % 2 == 1)
      return 0;
    buffer[0] = static_cast<unsigned char>(bytes[0]);
    bytes.erase(0, 1);
    return 1;
  }
  std::string bytes;
  int calls = 0;
};

// Never reports a byte as ready, so every read waits, as on a pipe.
struct WaitingBuffer : std::streambuf {
  explicit WaitingBuffer(std::string text) : data(std::move(text)) {}
  int_type underflow() override {
    return at < data.size() ? traits_type::to_int_type(data[at]) : traits_type::eof();
  }
  int_type uflow() override {
    const int_type c = underflow();
    at += c != traits_type::eof();
    return c;
  }
  std::string data;
  size_t at = 0;
};

} // namespace

TEST(Streams, WireFormsByteForByte) {
  const auto B = EndianMode::Big, L = EndianMode::Little, N = EndianMode::Native;
  const StringBuilder builder("sb");
  const struct {
    const char *name;
    EndianMode mode;
    Write write;
    Bytes bytes;
  } cases[] = {
      {"int32 big", B, [](OutputStream &s) { s.writeInt32(0x01020304); }, {1, 2, 3, 4}},
      {"int32 little", L, [](OutputStream &s) { s.writeInt32(0x01020304); }, {4, 3, 2, 1}},
      {"int32 native", N, [](OutputStream &s) { s.writeInt32(0x01020304); }, {4, 3, 2, 1}},
      {"explicit big forms", L, [](OutputStream &s) { s.writeInt32BE(0x01020304); s.writeInt32(0x05060708, EndianMode::Big); s.writeInt64BE(0x0102030405060708); }, {1, 2, 3, 4, 5, 6, 7, 8, 1, 2, 3, 4, 5, 6, 7, 8}},
      {"explicit little forms", B, [](OutputStream &s) { s.writeInt32LE(-2); s.writeInt64LE(0x0102030405060708); s.writeInt64(0x0102030405060708, EndianMode::Little); }, {0xFE, 0xFF, 0xFF, 0xFF, 8, 7, 6, 5, 4, 3, 2, 1, 8, 7, 6, 5, 4, 3, 2, 1}},
      // Only the Big and Little modes are written by the two-argument forms.
      {"explicit native writes nothing", B, [](OutputStream &s) { s.writeInt32(7, EndianMode::Native); s.writeInt64(7, EndianMode::Native); }, {}},
      {"native forms and float", B, [](OutputStream &s) { s.writeInt32Native(0x01020304); s.writeInt64Native(0x0102030405060708); s.writeFloat(1.0f); }, {4, 3, 2, 1, 8, 7, 6, 5, 4, 3, 2, 1, 0, 0, 0x80, 0x3F}},
      {"bool", B, [](OutputStream &s) { s.writeBool(true); s.writeBool(false); }, {1, 0}},
      {"string ascii", B, [](OutputStream &s) { s.writeBinaryString(String("AB")); }, {0, 0, 0, 2, 'A', 'B'}},
      {"string ascii little", L, [](OutputStream &s) { s.writeBinaryString(String("AB")); }, {2, 0, 0, 0, 'A', 'B'}},
      {"string utf16", B, [](OutputStream &s) { s.writeBinaryString(String("\xC3\xA9")); }, {0x80, 0, 0, 1, 0, 0xE9}},
      {"string empty", B, [](OutputStream &s) { s.writeBinaryString(String::EMPTY); }, {0, 0, 0, 0}},
      // The count is of characters: the pair of 1F600 goes out as 4 bytes counted as 1.
      {"string above FFFF", B, [](OutputStream &s) { s.writeBinaryString(String("\xF0\x9F\x98\x80")); }, {0x80, 0, 0, 1, 0xD8, 0x3D, 0xDE, 0x00}},
      {"line of String", B, [](OutputStream &s) { s.writeLine(String("ab"), &gLatin1); }, bytes("ab\n|")},
      {"line of text", B, [](OutputStream &s) { s.writeLine("ab"); }, bytes("ab\n||")},
      {"line of text, encoding", B, [](OutputStream &s) { s.writeLine("\xC3\xA9", &gLatin1); }, bytes("\xE9\n|")},
      // Only the builder form without an encoding ends the line (required).
      {"line of builder", B, [&](OutputStream &s) { s.writeLine(builder); }, bytes("sb|\n|")},
      {"line of builder, encoding", B, [&](OutputStream &s) { s.writeLine(builder, &gUTF8); }, bytes("sb|")},
      {"empty line", B, [](OutputStream &s) { s.writeLine(); }, bytes("\n|")},
  };
  for (const auto &c : cases)
    EXPECT_EQ(written(c.mode, c.write), c.bytes) << c.name;

  // An unknown mode in the one-argument form is an illegal state.
  RecordingStream stream;
  stream.allocatedOnStack();
  stream.setEndianMode(static_cast<EndianMode>(3));
  testing::internal::CaptureStderr();
  EXPECT_THROW(stream.writeInt32(1), AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Illegal state: Unknown endian mode"),
            std::string::npos);
  EXPECT_EQ(stream.log, "");

  // The string stream answers that its encoding is fixed, and changes it all the same.
  std::string out;
  StdStringOutputStream stringStream(&out);
  stringStream.allocatedOnStack();
  EXPECT_FALSE(stringStream.canChangeTextEncoding());
  stringStream.setTextEncoding(&gUTF16BE);
  stringStream.writeString("A");
  EXPECT_EQ(out, std::string("\0A", 2));
}

// Strings round-trip in every mode under the fuzzer; here the forms it does not reach.
TEST(Streams, ReadingWireForms) {
  const unsigned char forms[] = {0x80, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 0, 0, 0x80, 0x3F, 1, 2};
  Reader in(forms, sizeof forms);
  EXPECT_TRUE(in.readBinaryString().isEmpty()); // a top bit alone is accepted
  EXPECT_TRUE(in.readBinaryString().isEmpty());
  EXPECT_EQ(in.readInt32(static_cast<EndianMode>(9)), 0x04030201); // other modes: native
  EXPECT_EQ(in.readFloat(), 1.0f);
  EXPECT_TRUE(in.readBool());
  expectIOException([&] { (void)in.readBool(); }, "Unexpected value for bool");

  // A code above FFFF is read 2 bytes short: the reader stops inside the pair (kept).
  const Bytes pair = written(EndianMode::Big, [](OutputStream &s) {
    s.writeBinaryString(String("a\xF0\x9F\x98\x80"));
  });
  Reader cut(pair);
  EXPECT_THROW((void)cut.readBinaryString(), EOSException);
  EXPECT_EQ(cut.readByte(), 0xDE);

  // From 1024 bytes on the text is read on the heap.
  const String longText(std::string(1024, 'x').c_str());
  const Bytes wire = written(EndianMode::Big, [&](OutputStream &s) { s.writeBinaryString(longText); });
  EXPECT_EQ(Reader(wire).readBinaryString(), longText);
}

TEST(Streams, RequiredReadLoop) {
  // Pieces are joined, and a later read that gives nothing is asked again (kept).
  TricklingStream trickling("\x01\x02\x03\x04");
  trickling.allocatedOnStack();
  EXPECT_EQ(trickling.readInt32BE(), 0x01020304);
  EXPECT_THROW((void)trickling.readInt32(), EOSException);
  EXPECT_THROW((void)trickling.readByte(), EOSException);

  const std::string large = std::string(3000, 'z') + "end";
  Reader skipping(large.data(), large.size());
  skipping.skipBytes(0);
  skipping.skipBytes(3000);
  EXPECT_EQ(skipping.readString(-1), "end");
  EXPECT_THROW(skipping.skipBytes(1), EOSException);
}

TEST(Streams, MemoryStreamsAtTheirEnds) {
  unsigned char area[3] = {9, 9, 9};
  MemoryOutputStream out(area, sizeof area);
  out.allocatedOnStack();
  const unsigned char four[4] = {1, 2, 3, 4};
  expectIOException([&] { out.writeBytes(four, 4); }, "End of valid memory area reached");
  EXPECT_THROW(out.writeInt32Native(5), IOException); // a block too: nothing lands
  out.writeBytes(four, 0);
  EXPECT_EQ(Bytes(area, area + 3), (Bytes{9, 9, 9}));
  // Byte by byte: the first three land before the fourth raises.
  EXPECT_THROW(out.writeInt32(0x01020304), IOException);
  EXPECT_EQ(Bytes(area, area + 3), (Bytes{1, 2, 3}));

  // The memory stream answers 0 at its end instead of raising, so readLine ends quietly.
  Reader in("a\r\nb", 4);
  EXPECT_EQ(in.numBytesAvailable(), 0u);
  EXPECT_EQ(in.readLine(), "a\r");
  EXPECT_EQ(in.readLine(), "b");
  EXPECT_TRUE(in.readLine().isEmpty());
  EXPECT_EQ(in.readBytes(area, 1), 0u);
}

TEST(Streams, StandardInputAdapter) {
  const auto read = [](std::streambuf *buffer, unsigned long count, bool failed = false) {
    std::istream stream(buffer);
    if (failed)
      stream.setstate(std::ios::failbit);
    StdInputStream in(&stream, false);
    in.allocatedOnStack();
    unsigned char bytes[8];
    return in.readBytes(bytes, count);
  };
  // A waiting read that meets the end reports the end, dropping the bytes it got; one
  // that fills the block reports only what is ready behind it.
  WaitingBuffer shortData("abc"), longData("0123456789");
  EXPECT_EQ(read(&shortData, 8), 0u);
  EXPECT_EQ(read(&longData, 4), 0u);
  // What is ready is taken without waiting.
  std::istringstream text("line one\nline two");
  EXPECT_EQ(read(text.rdbuf(), 8), 8u);
  expectIOException([&] { read(text.rdbuf(), 1, true); }, "Error reading from stream");
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
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count)
    EXPECT_EQ(line, std::string(40, line[0]));
  EXPECT_EQ(count, 800);

  sink.setstate(std::ios::badbit);
  expectIOException([&] { out.writeString("x"); }, "Error writing data");
}
