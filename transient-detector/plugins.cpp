//===- transient-detector/plugins.cpp - Entry point of the plug-in library --===//
#include "transient-detector/transient_detector.h"

#include <vamp-sdk/PluginAdapter.h>
#include <vamp/vamp.h>

static Vamp::PluginAdapter<TransientDetector> percussionDetectorAdapter;

const VampPluginDescriptor *vampGetPluginDescriptor(unsigned int version, unsigned int index) {
  if (version < 1 || index != 0)
    return nullptr;
  return percussionDetectorAdapter.getDescriptor();
}
