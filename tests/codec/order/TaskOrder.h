// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_ORDER_TASKORDER_H
#define TESTS_CODEC_ORDER_TASKORDER_H

namespace prores::test {

/// Makes pools of workers run their tasks in an order, and on workers, that depend on the seed.
/// 0 = ascending on the first worker, the initial setting.
void SetTaskOrder(unsigned seed);

}  // namespace prores::test

#endif  // TESTS_CODEC_ORDER_TASKORDER_H
