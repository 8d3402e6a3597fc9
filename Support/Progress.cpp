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

bool checked(const char* check, CheckOutcome outcome) {
  if (Listener* listener = currentListener) listener->checked(check, outcome);
  return outcome != CheckOutcome::Failed;
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
