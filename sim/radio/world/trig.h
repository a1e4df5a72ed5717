/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Integer trigonometry: the kernel has no floating point.
 *
 * Nothing but the types comes from the kernel, so that a host program can
 * compare it with libm.
 */
#ifndef SIM_TRIG_H
#define SIM_TRIG_H

#include <linux/types.h>

/* Half a turn and a quarter turn, in microradians. */
#define SIM_PI_URAD 3141593
#define SIM_HALF_PI_URAD 1570796

/* 1.0 of sim_sin_q30(). */
#define SIM_Q30 0x40000000

/* Angle of (x, y) from the x axis, in microradians, -pi to pi; 0 for (0, 0). */
s32 sim_atan2_urad(s64 y, s64 x);

/* Sine of an angle between -pi/2 and pi/2, in units of 2^-30. */
s32 sim_sin_q30(s32 urad);

#endif /* SIM_TRIG_H */
