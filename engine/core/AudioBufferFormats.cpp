//===- engine/core/AudioBufferFormats.cpp - Foreign sample formats ---------===//
#include "engine/core/AudioBuffer.h"

namespace engine {} // namespace engine
