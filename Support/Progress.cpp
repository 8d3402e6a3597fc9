#include "Support/Progress.h"

#include <atomic>

namespace hotfix::progress {

namespace {

std::atomic<Listener*> currentListener{nullptr};

Listener& listener() {
  static auto* const silent = new Listener;  // outlives threads that still run when the process ends
  Listener* const current = currentListener;
  return current != nullptr ? *current : *silent;
}

}  // namespace

void setListener(Listener* listener) { currentListener = listener; }

bool checked(const char* check, CheckOutcome outcome) {
  listener().checked(check, outcome);
  return outcome != CheckOutcome::Failed;
}

void childStarted(const std::string& program, long process) { listener().childStarted(program, process); }
void childEnded() { listener().childEnded(); }
void hotfixRemoved() { listener().hotfixRemoved(); }
void warn(const std::string& sentence) { listener().warn(sentence); }
bool wantsTicks() { return listener().wantsTicks(); }
void tick() { listener().tick(); }

Step::Step(const char* step) { listener().begin(step); }

Step::~Step() {
  if (!_hasEnded) end({StepResult::Kind::Failed, ""});
}

void Step::end(const StepResult& result) {
  _hasEnded = true;
  listener().end(result);
}

}  // namespace hotfix::progress
