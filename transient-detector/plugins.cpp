//===- transient-detector/plugins.cpp - Entry point of the plug-in library --===//
#include "transient-detector/transient_detector.h"

#include <vamp-sdk/PluginAdapter.h>
#include <vamp/vamp.h>

// First of the libraries' objects made at load: then the assertion route (201), the
// empty String (202) and the process streams (203).
__attribute__((init_priority(200))) static Vamp::PluginAdapter<TransientDetector>
    percussionDetectorAdapter;

const VampPluginDescriptor *vampGetPluginDescriptor(unsigned int version, unsigned int index) {
  if (version < 1 || index != 0)
    return nullptr;
  return percussionDetectorAdapter.getDescriptor();
}
