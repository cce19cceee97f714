//===- engine/core/dsp/NaturalLogTable.h - Table of engine::naturalLog -----===//
#ifndef ENGINE_CORE_DSP_NATURALLOGTABLE_H
#define ENGINE_CORE_DSP_NATURALLOGTABLE_H

namespace engine {

/// Row i: 1 / c and ln c for c = 1 + i/64, in double (generated).
extern const double naturalLogTable[65][2];

} // namespace engine

#endif // ENGINE_CORE_DSP_NATURALLOGTABLE_H
