// SPDX-License-Identifier: MIT
// Tests that hold for each form of a kernel.
#pragma once

#include "support/kernel_forms.h"

#include <gtest/gtest.h>

namespace qel::test {

/// Does something once with each form that this machine can run.
template <class Function, class Action>
void with_each_form(dispatched<Function> &kernel, Action action) {
    for (const auto &form : runnable(kernel)) {
        SCOPED_TRACE(form.name);
        const forced_form<Function> forced(kernel, form.call);
        action();
    }
}

} // namespace qel::test
