// SPDX-License-Identifier: GPL-2.0
#include "world/trig.h"

#define CORDIC_STEPS 24

/* Product of cos(atan(2^-i)) over all steps, in units of 2^-30. */
#define CORDIC_GAIN_Q30 652032874

/* Coordinates are scaled up to here, so that the last steps still move them. */
#define CORDIC_BIG 0x10000000000LL

/* atan(2^-i) in nanoradians. */
static const s32 cordic_atan_nrad[CORDIC_STEPS] = {
	785398163, 463647609, 244978663, 124354995, 62418810, 31239833,
	15623729, 7812341, 3906230, 1953123, 976562, 488281,
	244141, 122070, 61035, 30518, 15259, 7629,
	3815, 1907, 954, 477, 238, 119,
};

/* Nanoradians to microradians, rounded to the nearest. */
static s32 nrad_to_urad(s64 nrad)
{
	s64 half = nrad < 0 ? -500 : 500;

	return (s32)((nrad + half) / 1000);
}

/* Angle of (x, y) with x >= 0: turns the vector onto the x axis. */
static s64 cordic_angle_nrad(s64 y, s64 x)
{
	s64 angle = 0;
	s64 turned;
	int i;

	for (i = 0; i < CORDIC_STEPS; i++) {
		if (y > 0) {
			turned = x + (y >> i);
			y -= x >> i;
			angle += cordic_atan_nrad[i];
		} else {
			turned = x - (y >> i);
			y += x >> i;
			angle -= cordic_atan_nrad[i];
		}
		x = turned;
	}
	return angle;
}

s32 sim_atan2_urad(s64 y, s64 x)
{
	s64 ax = x < 0 ? -x : x;
	s64 ay = y < 0 ? -y : y;
	s32 urad;

	if (!x && !y)
		return 0;
	while (ax >= CORDIC_BIG || ay >= CORDIC_BIG) {
		ax >>= 1;
		ay >>= 1;
	}
	while (ax < CORDIC_BIG / 2 && ay < CORDIC_BIG / 2) {
		ax <<= 1;
		ay <<= 1;
	}
	urad = nrad_to_urad(cordic_angle_nrad(ay, ax));
	if (x < 0)
		urad = SIM_PI_URAD - urad;
	return y < 0 ? -urad : urad;
}

s32 sim_sin_q30(s32 urad)
{
	s64 left = (s64)urad * 1000;
	s64 x = CORDIC_GAIN_Q30;
	s64 y = 0;
	s64 turned;
	int i;

	for (i = 0; i < CORDIC_STEPS; i++) {
		if (left >= 0) {
			turned = x - (y >> i);
			y += x >> i;
			left -= cordic_atan_nrad[i];
		} else {
			turned = x + (y >> i);
			y -= x >> i;
			left += cordic_atan_nrad[i];
		}
		x = turned;
	}
	if (y > SIM_Q30)
		return SIM_Q30;
	return y < -SIM_Q30 ? -SIM_Q30 : (s32)y;
}
