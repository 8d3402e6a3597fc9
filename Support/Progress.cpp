#include "Support/Progress.h"

#include <atomic>

namespace hotfix::progress {

namespace {

std::atomic<Listener*> currentListener{nullptr};

}  // namespace

void setListener(Listener* listener) { currentListener = listener; }

void childStarted(const std::string& program, long process) {
  if (Listener* listener = currentListener) listener->childStarted(program, process);
}

bool checked(const char* check, CheckOutcome outcome) {
  if (Listener* listener = currentListener) listener->checked(check, outcome);
  return outcome != CheckOutcome::Failed;
}

void childEnded() {
  if (Listener* listener = currentListener) listener->childEnded();
}

void hotfixRemoved() {
  if (Listener* listener = currentListener) listener->hotfixRemoved();
}

void warn(const std::string& sentence) {
  if (Listener* listener = currentListener) listener->warn(sentence);
}

bool wantsTicks() {
  const Listener* listener = currentListener;
  return listener != nullptr && listener->wantsTicks();
}

void tick() {
  if (Listener* listener = currentListener) listener->tick();
}

Step::Step(const char* step) {
  if (Listener* listener = currentListener) listener->begin(step);
}

Step::~Step() {
  if (!_hasEnded) end({StepResult::Kind::Failed, ""});
}

void Step::end(const StepResult& result) {
  _hasEnded = true;
  if (Listener* listener = currentListener) listener->end(result);
}

}  // namespace hotfix::progress
