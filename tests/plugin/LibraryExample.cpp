// The level of a test tone, measured on a worker thread and handed back by a semaphore.
#include "base/core/Semaphore.h"
#include "base/core/StringBuilder.h"
#include "base/core/System.h"
#include "base/core/Thread.h"
#include "engine/core/AudioBuffer.h"
#include "engine/core/dsp/Conversions.h"
#include "primitives/vecmath/vecmath.h"

#include <cstdlib>

using namespace base::core;

struct Job {
  engine::AudioBuffer *tone = engine::AudioBuffer::create(4096, 1);
  double level = 0.0;
  Semaphore done{0};
};

int main() {
  Job job;
  float phase[4096];
  for (int i = 0; i < 4096; ++i)
    phase[i] = 0.0628f * float(i);                                 // 441 Hz at 44.1 kHz
  ippsSin_32f_A24(phase, job.tone->getRawDataAndSetUncompressed(), 4096); // the primitives

  GenericThread worker(
      [](void *argument) {
        auto *work = static_cast<Job *>(argument);
        const float mean = work->tone->sumabs(4096) / 4096.0f;    // the engine
        work->level = engine::magnitudeToDecibel(mean);
        work->done.release();
      },
      &job, "level");
  worker.allocatedOnStack();                                       // not owned by a SmartPtr
  worker.start();
  job.done.wait();
  getOut()->writeLine(StringBuilder("mean level ") + job.level + " dB"); // base::core
  std::free(job.tone);
  return job.level < -3.0 && job.level > -5.0 ? 0 : 1;            // 2/pi: -3.9 dB
}
