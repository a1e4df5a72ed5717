// SPDX-License-Identifier: GPL-2.0
/*
 * What an error model does to a measurement.
 *
 * Values are millionths: of millimetres (nanometres, so to say), of percent, of
 * degrees, of parts in a million.
 */
#include <linux/kernel.h>
#include <linux/math64.h>
#include <linux/time64.h>

#include "world/decimal.h"
#include "world/model.h"
#include "world/trig.h"

#define MODEL_PERCENT_ALL (100 * SIM_DECIMAL_ONE)
#define MODEL_NO_FOV (180 * SIM_DECIMAL_ONE)
#define MODEL_HALF_TURN_DEGREES (180 * SIM_DECIMAL_ONE)
/* What sim_noise_scale() takes. */
#define MODEL_MAX_SIGMA_NM 1000000000000LL
/* The square of the place in the field of view: 1.0 at its edge. */
#define MODEL_EDGE_BITS 10

/* Best figure of merit, in and out of sight. */
#define MODEL_MERIT_LOS 240
#define MODEL_MERIT_NLOS 120

/* The peer's clock wanders to one end and back in so many microseconds. */
#define MODEL_DRIFT_PERIOD_US (120LL * USEC_PER_SEC)

/*
 * Everything by chance of one measurement. All of it is drawn each time: what
 * one error needs does not depend on the others being there.
 */
struct draws {
	u32 loss;
	u32 burst;
	u32 outlier;
	u32 outlier_size;
	s32 noise;
	s32 detour;
	s32 azimuth;
	s32 elevation;
};

static struct draws model_draw(struct sim_noise *noise)
{
	u64 first = sim_noise_bits(noise);
	u64 second = sim_noise_bits(noise);

	return (struct draws) {
		.loss = first >> 32,
		.burst = first,
		.outlier = second >> 32,
		.outlier_size = second,
		.noise = sim_noise_normal(noise),
		.detour = sim_noise_normal(noise),
		.azimuth = sim_noise_normal(noise),
		.elevation = sim_noise_normal(noise),
	};
}

/* Does it happen, with that many millionths of a percent? */
static bool model_chance(u32 draw, s64 percent)
{
	return ((u64)draw * MODEL_PERCENT_ALL) >> 32 < (u64)percent;
}

/* What grows with distance: millionths at 0 and for each metre. */
static s64 model_over(const struct sim_model *model, enum sim_model_key at_0,
		      enum sim_model_key per_m, u64 distance_mm)
{
	return model->value[at_0] +
	       div_s64(model->value[per_m] * (s64)distance_mm, 1000);
}

/* ---- Losses ---- */

static bool model_burst(const struct sim_model *model, struct sim_link *link,
			u32 draw)
{
	s64 mean = model->value[SIM_MODEL_BURST_LENGTH];

	if (link->in_burst)
		link->in_burst = !model_chance(draw,
			div64_s64(MODEL_PERCENT_ALL * SIM_DECIMAL_ONE, mean));
	else
		link->in_burst = model_chance(draw,
					      model->value[SIM_MODEL_BURST]);
	return link->in_burst;
}

void sim_model_begin(const struct sim_model *model, struct sim_link *link)
{
	u64 bits = sim_noise_bits(&link->noise);
	/* What is lost for all that is not, in millionths of a percent. */
	u64 lost = model->value[SIM_MODEL_BURST] *
		   model->value[SIM_MODEL_BURST_LENGTH];
	u64 all = MODEL_PERCENT_ALL * SIM_DECIMAL_ONE + lost;

	link->drift_us = bits;
	link->in_burst = model_chance(bits >> 32,
		mul_u64_u64_div_u64(MODEL_PERCENT_ALL, lost, all));
}

/* ---- Distances ---- */

static s64 model_detour_nm(const struct sim_model *model,
			   const struct draws *draws)
{
	s64 nm = model->value[SIM_MODEL_NLOS_BIAS] +
		 sim_noise_scale(draws->detour,
				 model->value[SIM_MODEL_NLOS_NOISE]);

	/* No way around is shorter. */
	return max_t(s64, nm, 0);
}

static s64 model_outlier_nm(const struct sim_model *model, bool los,
			    const struct draws *draws)
{
	s64 share = model->value[los ? SIM_MODEL_OUTLIERS :
				       SIM_MODEL_NLOS_OUTLIERS];

	if (!model_chance(draws->outlier, share))
		return 0;
	return mul_u64_u32_shr(model->value[SIM_MODEL_OUTLIER],
			       draws->outlier_size, 32);
}

/* To one end and back: what is left of a clock's error is 1.5 mm a ppm. */
static s64 model_drift_nm(const struct sim_model *model,
			  const struct sim_link *link, u64 world_ns)
{
	u64 time_us = div_u64(world_ns - link->since_ns, NSEC_PER_USEC) +
		      link->drift_us;
	s64 half = MODEL_DRIFT_PERIOD_US / 2;
	u64 at;
	s64 swing;

	div64_u64_rem(time_us, MODEL_DRIFT_PERIOD_US, &at);
	swing = abs((s64)at - half) * 2 - half;
	return div_s64(model->value[SIM_MODEL_DRIFT] * 3 / 2 * swing, half);
}

static s32 model_distance_mm(const struct sim_model *model,
			     const struct sim_link *link,
			     const struct sim_geometry *truth, u64 world_ns,
			     const struct draws *draws)
{
	u64 distance_mm = div_u64(truth->distance_um, 1000);
	s64 sigma = model_over(model, SIM_MODEL_NOISE, SIM_MODEL_NOISE_PER_M,
			       distance_mm);
	s64 nm = truth->distance_um * 1000;

	nm += model_over(model, SIM_MODEL_BIAS, SIM_MODEL_BIAS_PER_M,
			 distance_mm);
	nm += sim_noise_scale(draws->noise, min(sigma, MODEL_MAX_SIGMA_NM));
	if (!truth->los)
		nm += model_detour_nm(model, draws);
	nm += model_outlier_nm(model, truth->los, draws);
	nm += model_drift_nm(model, link, world_ns);
	nm = div_s64(nm + (nm < 0 ? -500000 : 500000), 1000000);
	return clamp_t(s64, nm, S32_MIN, S32_MAX);
}

/* ---- Angles ---- */

/* An angle and how far it can be trusted: noise grows as the merit falls. */
static s32 model_angle(const struct sim_model *model, bool los, s32 urad,
		       bool behind, s32 draw, u8 *merit)
{
	s64 fov = model->value[SIM_MODEL_FOV];
	s32 half = div_s64(fov * SIM_PI_URAD, 2 * MODEL_HALF_TURN_DEGREES);
	bool outside = fov < MODEL_NO_FOV && (behind || abs(urad) > half);
	s32 inside = clamp(urad, -half, half);
	s64 place = div_s64((s64)abs(inside) << MODEL_EDGE_BITS, half);
	s64 factor = SIM_DECIMAL_ONE +
		     (((model->value[SIM_MODEL_ANGLE_EDGE] - SIM_DECIMAL_ONE) *
		       place * place) >> (2 * MODEL_EDGE_BITS));
	s64 sigma = div_s64(model->value[SIM_MODEL_ANGLE_NOISE] * SIM_PI_URAD,
			    MODEL_HALF_TURN_DEGREES);

	if (!los)
		factor *= MODEL_MERIT_LOS / MODEL_MERIT_NLOS;
	*merit = outside ? 0 : div64_s64(MODEL_MERIT_LOS * SIM_DECIMAL_ONE,
					 factor);
	sigma = div_s64(sigma * factor, SIM_DECIMAL_ONE);
	return clamp_t(s64, inside + sim_noise_scale(draw, sigma), -half, half);
}

bool sim_model_measure(const struct sim_model *model, struct sim_link *link,
		       const struct sim_geometry *truth, u64 world_ns,
		       struct sim_sight *sight)
{
	struct draws draws = model_draw(&link->noise);
	bool burst = model_burst(model, link, draws.burst);
	bool behind = abs(truth->turn_urad) > SIM_HALF_PI_URAD;
	s64 loss = model_over(model, SIM_MODEL_LOSS, SIM_MODEL_LOSS_PER_M,
			      div_u64(truth->distance_um, 1000));

	if (burst || model_chance(draws.loss, loss))
		return false;
	sight->los = truth->los;
	sight->distance_mm = model_distance_mm(model, link, truth, world_ns,
					       &draws);
	sight->azimuth_urad = model_angle(model, truth->los,
					  truth->azimuth_urad, behind,
					  draws.azimuth, &sight->azimuth_merit);
	sight->elevation_urad = model_angle(model, truth->los,
					    truth->elevation_urad, behind,
					    draws.elevation,
					    &sight->elevation_merit);
	return true;
}
