#pragma once

#include "tessel/baseutils/assertion.h"

#include <string>
#include <utility>
#include <vector>

/// Switches assertions on, and records what fails instead of asking anybody, for the life of this object.
class CRecordedAssertions {
  public:
    CRecordedAssertions() : mDisabled(AssertionsDisabled()), mHandler(SetAssertHandler(&Record)) {
        SetAssertionsDisabled(false);
        Failures().clear();
    }
    ~CRecordedAssertions() {
        SetAssertHandler(mHandler);
        SetAssertionsDisabled(mDisabled);
    }
    CRecordedAssertions(const CRecordedAssertions&)            = delete;
    CRecordedAssertions& operator=(const CRecordedAssertions&) = delete;

    /// The expressions that failed since the last call.
    std::vector<std::string> Take() { return std::exchange(Failures(), {}); }

  private:
    static std::vector<std::string>& Failures() {
        static std::vector<std::string> failures;
        return failures;
    }
    static int Record(const char*, unsigned, const char* expression, bool*) {
        Failures().push_back(expression);
        return 0;
    }

    bool          mDisabled;
    AssertHandler mHandler;
};
