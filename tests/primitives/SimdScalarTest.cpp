//===- tests/primitives/SimdScalarTest.cpp - Scalar twin lanes -------------===//
#include "primitives/simd/scalar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#define SIMD_SUITE SimdScalar
#include "SimdLaneChecks.inc"
