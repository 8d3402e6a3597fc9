#include "Support/Progress.h"

#include <atomic>

namespace hotfix::progress {

namespace {

std::atomic<Listener*> currentListener{nullptr};

}  // namespace

void setListener(Listener* listener) { currentListener = listener; }

bool isHeard() { return currentListener != nullptr; }

void fail(const std::string& reason) {
  if (Listener* listener = currentListener) listener->fail(reason);
}

void warn(const std::string& sentence) {
  if (Listener* listener = currentListener) listener->warn(sentence);
}

void goOn() {
  if (Listener* listener = currentListener) listener->goOn();
}

Step::Step(const char* step) {
  if (Listener* listener = currentListener) listener->begin(step);
}

Step::~Step() {
  if (Listener* listener = currentListener) listener->end();
}

}  // namespace hotfix::progress
