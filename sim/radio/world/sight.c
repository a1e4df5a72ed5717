// SPDX-License-Identifier: GPL-2.0
/*
 * What a radio sees of a peer.
 *
 * Every radio looks along +y with its azimuth pair along x and its elevation
 * pair along z.
 */
#include <linux/kernel.h>
#include <linux/math64.h>

#include "world/noise.h"
#include "world/places.h"
#include "world/trig.h"

/* One degree of angle noise for 30 mm of distance noise, capped at 20. */
#define WORLD_ANGLE_NOISE_URAD_PER_MM 582
#define WORLD_MAX_ANGLE_NOISE_URAD 349066

/* 2 pi d / lambda for antennas 20.8 mm apart and a wavelength of 46.108086 mm. */
#define WORLD_PDOA_MAX_URAD 2834434

/* Micrometres to 1/16 mm: the finest unit whose squares fit. */
static s64 world_sixteenths(s64 um)
{
	return div_s64(um * 16, 1000);
}

static s32 world_angle_noise(s32 urad)
{
	s32 sigma = min(sim_noise_mm * WORLD_ANGLE_NOISE_URAD_PER_MM,
			WORLD_MAX_ANGLE_NOISE_URAD);

	return clamp_t(s32, urad + sim_noise(sigma), -SIM_HALF_PI_URAD,
		       SIM_HALF_PI_URAD);
}

static s32 world_pdoa(s32 urad)
{
	return ((s64)sim_sin_q30(urad) * WORLD_PDOA_MAX_URAD) / SIM_Q30;
}

bool sim_world_sight(const struct sim_body *from, const struct sim_body *to,
		     u64 when_ns, struct sim_sight *sight)
{
	struct sim_vec a = sim_position(from, when_ns);
	struct sim_vec b = sim_position(to, when_ns);
	s64 dx = world_sixteenths(b.x - a.x);
	s64 dy = world_sixteenths(b.y - a.y);
	s64 dz = world_sixteenths(b.z - a.z);
	u64 ground = dx * dx + dy * dy;
	u64 distance = int_sqrt64(ground + dz * dz);

	lockdep_assert_held(&sim_lock);
	if (distance > world_sixteenths(sim_range_um))
		return false;
	sight->los = to->los;
	sight->distance_mm = (distance + 8) / 16;
	sight->distance_mm += sim_noise(sim_noise_mm);
	/* Two antennas in line cannot tell front from back: both look front. */
	sight->azimuth_urad = world_angle_noise(sim_atan2_urad(dx, abs(dy)));
	sight->elevation_urad =
		world_angle_noise(sim_atan2_urad(dz, int_sqrt64(ground)));
	sight->azimuth_pdoa_urad = world_pdoa(sight->azimuth_urad);
	sight->elevation_pdoa_urad = world_pdoa(sight->elevation_urad);
	return true;
}
