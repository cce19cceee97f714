//===- tests/plugin/LinkTest.cpp - A program linked to the plug-in alone ---===//
//
// A C++ user of the libraries needs only our headers and transient-detector.so: this
// program links against nothing else of ours and uses each layer through it.
//
//===----------------------------------------------------------------------===//
#include "base/core/Base64.h"
#include "base/core/Exception.h"
#include "base/core/MD5.h"
#include "base/core/MemoryStreams.h"
#include "base/core/StdStreams.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"
#include "base/core/UUID.h"
#include "engine/core/AudioBuffer.h"
#include "engine/core/VectorKernels.h"
#include "engine/core/dsp/Conversions.h"
#include "engine/core/dsp/SampleData.h"
#include "engine/core/dsp/firFilterbank.h"
#include "primitives/fft/fft.h"
#include "primitives/vecmath/vecmath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <sstream>
#include <vector>

TEST(Link, EachLayerThroughThePlugin) {
  EXPECT_NEAR(engine::decibelToMagnitude(-20.0), 0.1, 1e-12);

  const float in[3] = {1.0f, 2.0f, 0.5f};
  float out[3];
  ASSERT_EQ(ippsLn_32f_A24(in, out, 3), 0);
  EXPECT_NEAR(out[1], std::log(2.0f), 1e-7f);

  ippsFFTSpec_R_32f *spec = nullptr;
  ASSERT_EQ(ippsFFTInitAlloc_R_32f(&spec, 4, ippFFTDivInverse, 0), 0);
  std::vector<float> x(16), spectrum(16), back(16);
  for (int i = 0; i < 16; ++i)
    x[i] = static_cast<float>(i % 5) - 2.0f;
  ASSERT_EQ(ippsFFTFwd_RToPack_32f(x.data(), spectrum.data(), spec, nullptr), 0);
  ASSERT_EQ(ippsFFTInv_PackToR_32f(spectrum.data(), back.data(), spec, nullptr), 0);
  for (int i = 0; i < 16; ++i)
    EXPECT_NEAR(back[i], x[i], 1e-5f);
  ippsFFTFree_R_32f(spec);

  // The band split of an impulse: the bands sum to the impulse, 128 samples late.
  engine::SampleData impulse(1024, 1, 1), bands(1024, 1, 5);
  impulse.data(0, 0)[100] = 1.0f;
  engine::firFilterbank bank;
  const float cutOffs[] = {200.0f, 800.0f, 2000.0f, 5000.0f};
  bank.init(5, 1, 257, 0, cutOffs, 44100.0f);
  bank.filter(&impulse, &bands, nullptr, nullptr);
  float sum = 0.0f;
  for (unsigned int b = 0; b < 5; ++b)
    sum += bands.data(0, b)[228];
  EXPECT_NEAR(sum, 1.0f, 0.01f);
}

TEST(Link, AudioBufferKernelsAndFormatsThroughThePlugin) {
  engine::AudioBuffer *a = engine::AudioBuffer::create(16, 1);
  engine::AudioBuffer *b = engine::AudioBuffer::create(16, 1);
  // Template members are called through their addresses, so that the module's copies
  // are the ones that run, not instances made here.
  void (engine::AudioBuffer::*compressedWrite)(const float(&)[4]) =
      &engine::AudioBuffer::afterCompressedWrite<1>;
  void (engine::AudioBuffer::*fullWrite)() = &engine::AudioBuffer::afterFullWrite<1>;
  const float half[4] = {0.5f, 0.5f, 0.5f, 0.5f};
  (a->*compressedWrite)(half);
  engine::addc(a->reader(), 0.25f, b->writer(), 16);
  EXPECT_TRUE(b->compressedValueEquals(0.75f));

  float *x = a->getRawDataAndSetUncompressed();
  for (int i = 0; i < 16; ++i)
    x[i] = static_cast<float>(i) / 16.0f;
  (a->*fullWrite)();
  engine::AudioBuffer *c = engine::AudioBuffer::create(16, 1);
  engine::mul(a->reader(), b->reader(), c->writer(), 16);
  EXPECT_EQ(c->frameStride, 1u);
  EXPECT_EQ(c->getRawDataForReading()[8], 0.375f);

  short pcm[16];
  const int identity[1] = {0};
  c->toInterleavedInt16Data(pcm, 16, 1, identity);
  EXPECT_EQ(pcm[8], 12288);

  // The family, a <2, 1> form included: a stereo constant scaled by the mono samples.
  engine::AudioBuffer *stereo = engine::AudioBuffer::create(16, 2);
  engine::AudioBuffer *mixed = engine::AudioBuffer::create(16, 2);
  stereo->add(1.0f, 16);
  void (engine::AudioBuffer::*byMono)(const engine::AudioBuffer &, const engine::AudioBuffer &,
                                      uint32_t) = &engine::AudioBuffer::mulTo<2, 1>;
  (mixed->*byMono)(*stereo, *a, 16);
  EXPECT_EQ(mixed->frameStride, 2u);
  EXPECT_EQ(mixed->getRawDataForReading()[17], 0.5f);
  EXPECT_EQ(mixed->maxabs(16), 0.9375f);
  mixed->exp(engine::fpuPrecision24Bits, 16);
  EXPECT_EQ(engine::sum(mixed->getRawDataForReading(), 2), 2.0f);
  for (engine::AudioBuffer *buffer : {a, b, c, stereo, mixed})
    std::free(buffer);
}

// Text, counted objects and exceptions cross the module's boundary: a handler here
// catches what the plug-in's code throws, a class here derives from the module's Object,
// and the module's globals are the ones this program sees.
namespace {
class Counted : public base::core::Object {
public:
  explicit Counted(int *deleted) : _deleted(deleted) {}
  ~Counted() override { ++*_deleted; }

private:
  int *_deleted;
};
} // namespace

TEST(Link, CoreTextAndExceptionsThroughThePlugin) {
  using namespace base::core;
  const String text(StringBuilder("x = ") + 42 + " " + 0.5);
  EXPECT_EQ(text, "x = 42 0.5");
  EXPECT_EQ(text.substring(4, 6).asInt32(10), 42);
  try {
    (void)String("4x").asUInt32(10);
    ADD_FAILURE() << "parsed";
  } catch (const NumberFormatException &e) {
    EXPECT_EQ(e.getMessage(), "Invalid number: 4x");
    EXPECT_EQ(e.getText(), "4x");
  }
  const unsigned char bytes[] = {0x00, 'h', 0xD8, 0x3D, 0xDE, 0x00};
  SmartPtr<InputStream> stream(new MemoryInputStream(bytes, sizeof bytes, &gUTF16BE));
  EXPECT_EQ(stream->readString(-1).getLength(), 2u);
  EXPECT_THROW(stream->readByte(), EOSException);

  int deleted = 0;
  { SmartPtr<Counted> counted(new Counted(&deleted)); }
  EXPECT_EQ(deleted, 1);
  EXPECT_TRUE(String::EMPTY.isEmpty());
  EXPECT_EQ(TextEncoding::getUTF8(), &gUTF8);
  EXPECT_EQ(TextEncoding::getStringEncoding(), &gUTF32LE);
}

TEST(Link, CoreStreamsAndValueToolsThroughThePlugin) {
  using namespace base::core;
  std::ostringstream sink;
  SmartPtr<OutputStream> out(new StdOutputStream(&sink, false));
  out->setEndianMode(EndianMode::Little);
  out->writeBinaryString(String("id"));
  out->writeLine("!");
  EXPECT_EQ(sink.str(), std::string("\x02\0\0\0id!\n", 8));

  const UUID uuid(String("00112233-4455-6677-8899-AABBCCDDEEFF"));
  EXPECT_EQ(uuid.asString(), "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_THROW(UUID(String("x")), InvalidUUIDException);
  MD5 md5;
  md5.appendData("abc", 3);
  unsigned char digest[16];
  md5.calculate(digest);
  int size = 0;
  char *text = base64Encode(digest, sizeof digest, &size);
  EXPECT_STREQ(text, "kAFQmDzST7DWlj99KOF/cg==");
  std::free(text);
}
