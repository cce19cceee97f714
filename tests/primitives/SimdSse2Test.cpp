//===- tests/primitives/SimdSse2Test.cpp - Vector wrapper lanes ------------===//
#include "primitives/simd/sse2.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#define SIMD_SUITE SimdSse2
#include "SimdLaneChecks.inc"
