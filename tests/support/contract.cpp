#include "support/contract.h"

namespace qortest {

int ContractEngine::firstFailing() const {
  for (size_t i = 0; i < checks_.size(); ++i)
    if (checks_[i].fails()) return static_cast<int>(i);
  return -1;
}

void ContractEngine::expectStatus(QorStatus want, const std::string& what) {
  // A wrong check shows in hundreds of pairs; the first few tell which it is.
  constexpr int enough = 6;
  if (failures_ >= enough) return;
  const std::string arguments = hooks_.describe();
  setCase("%s(%s ): %s, expecting status %d", name_.c_str(), arguments.c_str(), what.c_str(), want);
  const QorStatus got = hooks_.call();
  if (got == want) return;
  ++failures_;
  ADD_FAILURE() << name_ << ": status " << got << " instead of " << want << " for " << what
                << "\n  arguments:" << arguments << (failures_ == enough ? "\n  further ones are not reported" : "");
}

// Steps in their order on valid arguments; the first check in the list that then fails gives the status.
void ContractEngine::drive(const std::vector<const Step*>& steps) {
  hooks_.reset();
  std::string what;
  for (const Step* s : steps) {
    s->act();
    what += (what.empty() ? "" : ", ") + s->label;
  }
  const int first = firstFailing();
  if (first < 0) return;  // one undid the other, or a large size that is legal: the memory for it does not exist
  int failing = 0;
  for (const Check& check : checks_) failing += check.fails();
  if (failing == 1) decidedAlone_[static_cast<size_t>(first)] = true;
  expectStatus(checks_[static_cast<size_t>(first)].status, what + " (first: " + checks_[first].label + ")");
}

void ContractEngine::driveErrors() {
  for (size_t i = 0; i < checks_.size(); ++i) {
    for (const Step& a : checks_[i].violations) {
      drive({&a});
      for (const Step& large : stresses_) drive({&large, &a});
      for (size_t j = i + 1; j < checks_.size(); ++j) {
        for (const Step& b : checks_[j].violations) {
          drive({&a, &b});
          drive({&b, &a});
        }
      }
    }
  }
  for (const Step& large : stresses_) drive({&large});
}

void ContractEngine::driveAccepted(QorStatus success) {
  const auto expectAccepted = [&](const std::vector<const Step*>& steps) {
    hooks_.makeAccessible();
    std::string what = "accepted:";
    for (const Step* s : steps) {
      s->act();
      what += ' ' + s->label + ',';
    }
    const int first = firstFailing();
    if (first >= 0)
      ADD_FAILURE() << name_ << ": " << what << " fails the check " << checks_[first].label;
    else
      expectStatus(success, what);
  };
  expectAccepted({});
  for (const Step& edge : accepted_) expectAccepted({&edge});
}

void ContractEngine::run(bool acceptedToo, QorStatus success) {
  hooks_.reset();
  const int first = firstFailing();
  if (first >= 0) {
    ADD_FAILURE() << name_ << ": the base arguments fail the check " << checks_[first].label << ":"
                  << hooks_.describe();
    return;
  }
  decidedAlone_.assign(checks_.size(), false);
  driveErrors();
  for (size_t i = 0; i < checks_.size(); ++i)
    EXPECT_TRUE(decidedAlone_[i]) << name_ << ": no violation reaches the check " << checks_[i].label << " alone";
  if (acceptedToo) driveAccepted(success);
}

}  // namespace qortest
