//===- primitives/fft/FftTables.h - Constant tables of the FFT -------------===//
#ifndef PRIMITIVES_FFT_FFTTABLES_H
#define PRIMITIVES_FFT_FFTTABLES_H

namespace primitives::fft {

/// sin(2 pi j / 1024) for j = 0 .. 256, rounded to float: the base table of every
/// transform up to real order 10.
extern const float fft_fix_twiddle_table_32f[257];

} // namespace primitives::fft

#endif // PRIMITIVES_FFT_FFTTABLES_H
