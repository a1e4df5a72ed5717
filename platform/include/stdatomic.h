// SPDX-License-Identifier: Apache-2.0
//
// Shadows <stdatomic.h>: Android's headers use its names in C++ as well, which libstdc++ allows only
// from C++23 on. C sources get the compiler's own header.
#ifdef __cplusplus
#ifndef VELTA_ANDROID_STDATOMIC_H
#define VELTA_ANDROID_STDATOMIC_H

#include <atomic>

using std::atomic_bool;
using std::atomic_char;
using std::atomic_compare_exchange_strong;
using std::atomic_compare_exchange_strong_explicit;
using std::atomic_compare_exchange_weak;
using std::atomic_compare_exchange_weak_explicit;
using std::atomic_exchange;
using std::atomic_exchange_explicit;
using std::atomic_fetch_add;
using std::atomic_fetch_add_explicit;
using std::atomic_fetch_and;
using std::atomic_fetch_and_explicit;
using std::atomic_fetch_or;
using std::atomic_fetch_or_explicit;
using std::atomic_fetch_sub;
using std::atomic_fetch_sub_explicit;
using std::atomic_flag;
using std::atomic_init;
using std::atomic_int;
using std::atomic_int_fast32_t;
using std::atomic_int_least32_t;
using std::atomic_load;
using std::atomic_load_explicit;
using std::atomic_long;
using std::atomic_signal_fence;
using std::atomic_size_t;
using std::atomic_store;
using std::atomic_store_explicit;
using std::atomic_thread_fence;
using std::atomic_uint;
using std::atomic_uint_fast32_t;
using std::atomic_uint_least32_t;
using std::atomic_uintptr_t;
using std::atomic_ulong;
using std::memory_order;
using std::memory_order_acq_rel;
using std::memory_order_acquire;
using std::memory_order_consume;
using std::memory_order_relaxed;
using std::memory_order_release;
using std::memory_order_seq_cst;

#endif
#else
#include_next <stdatomic.h>
#endif
