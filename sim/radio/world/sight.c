// SPDX-License-Identifier: GPL-2.0
/*
 * What a radio sees of a peer.
 *
 * A radio looks along its heading, with its azimuth pair across it and its
 * elevation pair along z.
 */
#include <linux/kernel.h>
#include <linux/math64.h>

#include "world/clock.h"
#include "world/model.h"
#include "world/noise.h"
#include "world/places.h"
#include "world/trig.h"
#include "world/walls.h"

/* One degree of angle noise for 30 mm of distance noise, capped at 20. */
#define WORLD_ANGLE_NOISE_URAD_PER_MM 582
#define WORLD_MAX_ANGLE_NOISE_URAD 349066

/* Figure of merit straight ahead; it loses one a degree towards the side. */
#define WORLD_MERIT_LOS 240
#define WORLD_MERIT_NLOS 120
#define WORLD_URAD_PER_DEGREE 17453

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

static u8 world_merit(bool los, s32 urad)
{
	return (los ? WORLD_MERIT_LOS : WORLD_MERIT_NLOS) -
	       abs(urad) / WORLD_URAD_PER_DEGREE;
}

/* Without a model: the world's noise, and nothing else. */
static void world_measure(const struct sim_geometry *truth, u64 distance,
			  struct sim_sight *sight)
{
	sight->los = truth->los;
	sight->distance_mm = (distance + 8) / 16;
	sight->distance_mm += sim_noise(sim_noise_mm);
	sight->azimuth_urad = world_angle_noise(truth->azimuth_urad);
	sight->elevation_urad = world_angle_noise(truth->elevation_urad);
	sight->azimuth_merit = world_merit(truth->los, sight->azimuth_urad);
	sight->elevation_merit = world_merit(truth->los, sight->elevation_urad);
}

/* The link from a radio to a peer, as the seed has it. */
static struct sim_link *world_link(const struct sim_model *model,
				   const struct sim_body *radio,
				   struct sim_body *peer, u64 world_ns)
{
	struct sim_link *link = &peer->links[radio->number];

	if (link->epoch != sim_noise_epoch()) {
		link->epoch = sim_noise_epoch();
		link->since_ns = world_ns;
		sim_noise_init(&link->noise,
			       peer->number * 2 * SIM_MAX_RADIOS +
			       peer->is_radio * SIM_MAX_RADIOS + radio->number);
		sim_model_begin(model, link);
	}
	return link;
}

/* How far to turn from where a radio looks, half a turn at most. */
static s32 world_turn(const struct sim_body *radio, s64 dx, s64 dy)
{
	s32 turn = sim_atan2_urad(dx, dy) - radio->heading_urad;

	if (turn > SIM_PI_URAD)
		return turn - 2 * SIM_PI_URAD;
	return turn < -SIM_PI_URAD ? turn + 2 * SIM_PI_URAD : turn;
}

/* Two antennas in line cannot tell front from back: both look front. */
static s32 world_mirrored(s32 turn)
{
	if (abs(turn) <= SIM_HALF_PI_URAD)
		return turn;
	return turn > 0 ? SIM_PI_URAD - turn : -SIM_PI_URAD - turn;
}

/* Do both hear each other, and is it in line of sight? */
static bool world_hears(const struct sim_body *peer,
			const struct sim_path_place *a,
			const struct sim_path_place *b, bool *los)
{
	enum sim_obstacle obstacle = sim_walls_between(&a->pos, &b->pos);

	*los = peer->los && obstacle == SIM_OBSTACLE_NONE &&
	       a->sight == SIM_PATH_CLEAR && b->sight == SIM_PATH_CLEAR;
	return obstacle != SIM_OBSTACLE_STOPS && a->sight != SIM_PATH_LOST &&
	       b->sight != SIM_PATH_LOST;
}

bool sim_world_sight(const struct sim_body *radio, struct sim_body *peer,
		     u64 when_ns, struct sim_sight *sight)
{
	const struct sim_model *model = peer->model ? peer->model : sim_model;
	struct sim_path_place a, b;
	struct sim_geometry truth;
	s64 dx, dy, dz;
	u64 ground, distance, world_ns;

	lockdep_assert_held(&sim_lock);
	sim_clock_measured(when_ns);
	world_ns = sim_clock_at(when_ns);
	sim_body_at(radio, world_ns, &a);
	sim_body_at(peer, world_ns, &b);
	dx = world_sixteenths(b.pos.x - a.pos.x);
	dy = world_sixteenths(b.pos.y - a.pos.y);
	dz = world_sixteenths(b.pos.z - a.pos.z);
	ground = dx * dx + dy * dy;
	distance = int_sqrt64(ground + dz * dz);
	if (distance > world_sixteenths(sim_range_um) ||
	    !world_hears(peer, &a, &b, &truth.los))
		return false;
	truth.turn_urad = world_turn(radio, dx, dy);
	truth.azimuth_urad = world_mirrored(truth.turn_urad);
	truth.elevation_urad = sim_atan2_urad(dz, int_sqrt64(ground));
	truth.distance_um = div_u64(distance * 1000, 16);
	if (!model)
		world_measure(&truth, distance, sight);
	else if (!sim_model_measure(model, world_link(model, radio, peer,
							  world_ns),
				    &truth, world_ns, sight))
		return false;
	sight->azimuth_pdoa_urad = world_pdoa(sight->azimuth_urad);
	sight->elevation_pdoa_urad = world_pdoa(sight->elevation_urad);
	return true;
}
