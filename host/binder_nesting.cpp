// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.BinderNesting"

#include <android-base/logging.h>
#include <android/binder_ibinder.h>

// A binder that is seen for the first time is asked for its interface, in its process. What that
// process calls before it answers is run at once, on top of the question; if that hands over a
// binder, that is asked as well, and so on: a client could have the stack grow to its end.
// Questions are asked where the generated code reads an argument, before any code of ours, by way
// of AIBinder_associateClass(): the linker (--wrap) has it come here first.

namespace {

// Nobody who means well gets beyond two.
constexpr int kMaxQuestions = 16;

thread_local int g_questions = 0;

}  // namespace

extern "C" {

// The names are the linker's.
// NOLINTBEGIN(bugprone-reserved-identifier)
bool __real_AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* interface);

/** @return false also for a binder that is not asked: it arrives as none. */
bool __wrap_AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* interface) {
    if (g_questions == kMaxQuestions) {
        LOG(ERROR) << "A client calls from within " << kMaxQuestions
                   << " calls of its own; the binder that it hands over is not taken";
        return false;
    }
    g_questions++;
    const bool is_of_it = __real_AIBinder_associateClass(binder, interface);
    g_questions--;
    return is_of_it;
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
