/*===- primitives/status.h - Status values of the primitives --------------===*
 *
 * Every primitive returns one of these. Zero is success, negative values are errors (the
 * call did nothing, or stopped), positive values are warnings (the call did its whole
 * work; some elements met a special case).
 *
 *===---------------------------------------------------------------------===*/
#ifndef PRIMITIVES_STATUS_H
#define PRIMITIVES_STATUS_H

#ifdef __cplusplus
extern "C" {
#endif

typedef int IppStatus;

enum {
  ippStatusOk = 0,
  ippStatusBadSize = -6,
  ippStatusNullPointer = -8,
  ippStatusNoMemory = -9,
  ippStatusBadFFTOrder = -15,
  ippStatusBadFFTFlag = -16,
  ippStatusBadSpec = -17,
  ippStatusOverflow = 12,
  ippStatusUnderflow = 17,
  ippStatusSingularity = 18,
  ippStatusDomain = 19,
  ippStatusNotIntelCpu = 20,
  ippStatusUnknownCpuCode = 21,
  ippStatusCpuNotSupported = 36,
  ippStatusCacheUnknown = 37
};

#ifdef __cplusplus
}
#endif

#endif /* PRIMITIVES_STATUS_H */
