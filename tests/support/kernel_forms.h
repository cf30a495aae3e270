// SPDX-License-Identifier: MIT
// The forms of a kernel that this machine can run, for tests that hold each of them to the plain one.
#pragma once

#include "common/cpu.h"

#include <vector>

namespace qel::test {

template <class Function>
struct named_form {
    const char *name;
    Function *call;
};

template <class Function>
std::vector<named_form<Function>> runnable(const dispatched<Function> &kernel) {
    const kernel_forms<Function> &forms = kernel.forms;
    const instruction_set machine = detect_instruction_set();
    std::vector<named_form<Function>> found = {{"plain", forms.plain}};
    const auto add = [&](instruction_set set, const char *name, Function *form) {
        if (form != nullptr && machine >= set) found.push_back({name, form});
    };
    add(instruction_set::sse2, "sse2", forms.sse2);
    add(instruction_set::avx2, "avx2", forms.avx2);
    add(instruction_set::avx512, "avx512", forms.avx512);
    return found;
}

/// During its lifetime, a kernel is called through this form; afterwards through its previous one.
template <class Function>
class forced_form {
  public:
    forced_form(dispatched<Function> &kernel, Function *form) : kernel_(kernel), before_(kernel.chosen()) {
        kernel.choose(form);
    }
    ~forced_form() { kernel_.choose(before_); }
    forced_form(const forced_form &) = delete;
    forced_form &operator=(const forced_form &) = delete;

  private:
    dispatched<Function> &kernel_;
    Function *before_;
};

/// Calls of a kernel get the form for processors of this set from now on.
template <class Function>
void force_set(dispatched<Function> &kernel, instruction_set set) {
    kernel.choose(kernel.forms.best(set));
}

} // namespace qel::test
