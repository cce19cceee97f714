//===- tests/plugin/LinkTest.cpp - A program linked to the plug-in alone ---===//
// A C++ user needs only our headers and transient-detector.so: each layer through it.
#include "base/core/Exception.h"
#include "base/core/MemoryStreams.h"
#include "base/core/StdStreams.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"
#include "primitives/fft/fft.h"
#include "primitives/vecmath/vecmath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

TEST(Link, PrimitivesAndEngineThroughThePlugin) {
  const float in[3] = {1.0f, 2.0f, 0.5f};
  float out[3], spectrum[16];
  ASSERT_EQ(ippsLn_32f_A24(in, out, 3), 0);
  EXPECT_NEAR(out[1], std::log(2.0f), 1e-7f);
  ippsFFTSpec_R_32f *spec = nullptr; // made and freed by the module
  ASSERT_EQ(ippsFFTInitAlloc_R_32f(&spec, 4, ippFFTDivInverse, 0), 0);
  const float ones[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  ASSERT_EQ(ippsFFTFwd_RToPack_32f(ones, spectrum, spec, nullptr), 0);
  EXPECT_EQ(spectrum[0], 16.0f);
  ippsFFTFree_R_32f(spec);

  using engine::AudioBuffer;
  AudioBuffer *a = AudioBuffer::create(16, 1), *b = AudioBuffer::create(16, 1);
  AudioBuffer *c = AudioBuffer::create(16, 1), *stereo = AudioBuffer::create(16, 2);
  AudioBuffer *mixed = AudioBuffer::create(16, 2);
  // Template members go through their addresses, so that the module's copies run.
  void (AudioBuffer::*compressedWrite)(const float(&)[4]) = &AudioBuffer::afterCompressedWrite<1>;
  void (AudioBuffer::*fullWrite)() = &AudioBuffer::afterFullWrite<1>;
  void (AudioBuffer::*byMono)(const AudioBuffer &, const AudioBuffer &, uint32_t) =
      &AudioBuffer::mulTo<2, 1>;
  const float half[4] = {0.5f, 0.5f, 0.5f, 0.5f};
  (a->*compressedWrite)(half);
  engine::addc(a->reader(), 0.25f, b->writer(), 16);
  EXPECT_TRUE(b->compressedValueEquals(0.75f));
  float *raw = a->getRawDataAndSetUncompressed();
  for (int i = 0; i < 16; ++i)
    raw[i] = static_cast<float>(i) / 16.0f;
  (a->*fullWrite)();
  engine::mul(a->reader(), b->reader(), c->writer(), 16);
  EXPECT_EQ(c->getRawDataForReading()[8], 0.375f);
  stereo->add(1.0f, 16);
  (mixed->*byMono)(*stereo, *a, 16); // a stereo constant scaled by mono samples
  EXPECT_EQ(mixed->maxabs(16), 0.9375f);
  for (AudioBuffer *buffer : {a, b, c, stereo, mixed})
    std::free(buffer);
}

// Exceptions thrown in the module are caught here, a class here derives from the module's
// Object, and the module's globals are the ones this program sees.
TEST(Link, CoreThroughThePlugin) {
  using namespace base::core;
  EXPECT_EQ(String(StringBuilder("x = ") + 42 + " " + 0.5), "x = 42 0.5");
  EXPECT_THROW((void)String("4x").asUInt32(10), NumberFormatException);
  const unsigned char bytes[] = {0x00, 'h', 0xD8, 0x3D, 0xDE, 0x00};
  SmartPtr<InputStream> stream(new MemoryInputStream(bytes, sizeof bytes, &gUTF16BE));
  EXPECT_EQ(stream->readString(-1).getLength(), 2u);
  EXPECT_THROW(stream->readByte(), EOSException);
  struct Counted : Object {
    explicit Counted(int *d) : deleted(d) {}
    ~Counted() override { ++*deleted; }
    int *deleted;
  };
  int deleted = 0;
  { SmartPtr<Counted> counted(new Counted(&deleted)); }
  EXPECT_EQ(deleted, 1);
  EXPECT_TRUE(String::EMPTY.isEmpty());
  EXPECT_EQ(TextEncoding::getUTF8(), &gUTF8);
  std::ostringstream sink; // a stream of this program's, written through the module's class
  SmartPtr<OutputStream> out(new StdOutputStream(&sink, false));
  out->writeLine("id");
  EXPECT_EQ(sink.str(), "id\n");
}
