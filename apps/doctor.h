#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// The chain between a project and what the file manager shows of it, link by link.
namespace preview::doctor {

enum class EState {
    kHolds,
    kNote,           ///< holds, but should be known of
    kNotApplicable,  ///< not there and not needed, or not to be looked at because of another link
    kBroken,
};

struct CFinding {
    EState      mState;
    std::string mFound;   ///< UTF-8, or bytes of a file
    std::string mRemedy;  ///< whole sentences; of a broken link alone
};

struct CLink {
    std::string mName;
    CFinding    mFinding;
};

/// Links that are looked at together.
struct CGroup {
    std::string        mTitle;
    std::vector<CLink> mLinks;
};
using CReport = std::vector<CGroup>;

/// What is looked at.
struct CCase {
    std::string mFile;       ///< as it was named: UTF-8, or any bytes; empty for none
    std::string mExtension;  ///< with its dot; empty when the file's name has none
};

inline constexpr char kExtension[] = ".tarvex";  ///< of projects

/// A link that is looked at by a function.
/// @tparam State  what is learned on the way
template <class State>
struct CStep {
    const char* mName;
    CFinding (*mLook)(State&);
    bool mCarries = false;  ///< when it is broken, those behind it cannot be looked at
};

template <class State, std::size_t kCount>
CGroup Walk(std::string title, const CStep<State> (&steps)[kCount], State& state) {
    CGroup      group{std::move(title), {}};
    const char* broken = nullptr;
    for (const auto& [name, look, carries] : steps) {
        CFinding finding = broken == nullptr ? look(state)
                                             : CFinding{EState::kNotApplicable,
                                                        "hangs on \"" + std::string(broken) + '"', ""};
        if (finding.mState == EState::kBroken && carries) broken = name;
        group.mLinks.push_back({name, std::move(finding)});
    }
    return group;
}

/// What the system was told of projects, from the file's type to the program that is called.
void ExamineSystem(const CCase& subject, CReport& report);
/// The file itself.
void ExamineFile(const CCase& subject, CReport& report);

}  // namespace preview::doctor
