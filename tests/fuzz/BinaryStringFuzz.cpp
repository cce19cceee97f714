//===- tests/fuzz/BinaryStringFuzz.cpp - Strings in their wire form -------===//
//
// readBinaryString survives any bytes in every endian mode, and a text it reads with no
// code above FFFF is written and read back unchanged.
#include "FuzzSupport.h"

#include "base/core/OutputStream.h"
#include "base/core/String.h"

#include <cstring>

using namespace base::core;

namespace {

// A memory stream that throws at its end. The library's streams answer 0 there, and
// the required-read loop then asks again for ever on a text cut short: that is their
// documented contract, not something to fuzz.
class EndingStream : public InputStream {
public:
  EndingStream(const uint8_t *data, size_t size) : _data(data), _size(size) {}
  unsigned long readBytes(unsigned char *buffer, unsigned long count) override {
    if (_position == _size)
      throw EOSException();
    const unsigned long taken = std::min<unsigned long>(count, _size - _position);
    std::memcpy(buffer, _data + _position, taken);
    _position += taken;
    return taken;
  }

private:
  const uint8_t *_data;
  size_t _size;
  size_t _position = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 5)
    return 0;
  const auto mode = static_cast<EndianMode>(data[0] % 3);
  ++data;
  --size;
  // A count far beyond the input only measures the allocator.
  uint32_t prefix;
  std::memcpy(&prefix, data, 4);
  const uint32_t counts[] = {__builtin_bswap32(prefix), prefix};
  if ((counts[mode == EndianMode::Big ? 0 : 1] & 0x7FFFFFFF) > 2 * size + 4096)
    return 0;

  EndingStream in(data, size);
  in.allocatedOnStack();
  in.setEndianMode(mode);
  String text;
  try {
    text = in.readBinaryString();
  } catch (const IOException &) {
    return 0;
  }
  for (unsigned long i = 0; i < text.getLength(); ++i)
    if (text[i].code() > 0xFFFF)
      return 0;

  std::string wire;
  StdStringOutputStream out(&wire);
  out.allocatedOnStack();
  out.setEndianMode(mode);
  out.writeBinaryString(text);
  EndingStream again(reinterpret_cast<const uint8_t *>(wire.data()), wire.size());
  again.allocatedOnStack();
  again.setEndianMode(mode);
  FUZZ_CHECK(again.readBinaryString() == text);
  return 0;
}
