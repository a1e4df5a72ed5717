/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The core's own: what its files and the module's life need of each other.
 */
#ifndef SIM_CORE_H
#define SIM_CORE_H

#include "core/radio.h"

/* radio.c: who is there. */
void sim_radio_put(unsigned int index, struct sim_radio *radio);
void sim_radio_clock_init(struct sim_radio *radio);
void sim_radio_clock_stop(struct sim_radio *radio);
/* The interface went up or down. */
void sim_radio_set_up(struct sim_radio *radio, bool up);
/* A socket was closed. */
void sim_radios_port_gone(u32 portid);

/* parts.c */
int sim_parts_init(struct sim_radio *radio);
void sim_parts_free(struct sim_radio *radio);
void sim_parts_tick(struct sim_radio *radio, u64 now_ns);
u64 sim_parts_next(const struct sim_radio *radio);
void sim_parts_down(struct sim_radio *radio);
void sim_parts_port_gone(struct sim_radio *radio, u32 portid);
/* The handler of a command, or NULL. */
sim_handler sim_parts_handler(u8 cmd);

/* phy.c */
struct sim_radio *sim_phy_alloc(unsigned int index);
int sim_phy_register(struct sim_radio *radio);

/* messages.c: the tap, or NULL. */
extern const struct sim_tap *sim_tap;

/* requests.c */
extern const struct sim_wire_ops sim_requests;

/* life.c */
int sim_radio_create(unsigned int index);
void sim_radios_destroy(void);

#endif /* SIM_CORE_H */
