// SPDX-License-Identifier: GPL-2.0
/*
 * debugfs: how tests set the world and see what arrived.
 */
#include <linux/debugfs.h>
#include <linux/module.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/uaccess.h>

#include "sim.h"

#define DEBUGFS_MAX_WRITE 16384

static struct dentry *debugfs_root;

typedef int (*debugfs_write_fn)(const char *text, size_t len);

/* One write is one text: applied whole when all of it can be read. */
static ssize_t debugfs_write_text(const char __user *buf, size_t len,
				  debugfs_write_fn write)
{
	char *text;
	int err;

	if (len > DEBUGFS_MAX_WRITE)
		return -E2BIG;
	text = memdup_user_nul(buf, len);
	if (IS_ERR(text))
		return PTR_ERR(text);
	mutex_lock(&sim_lock);
	err = write(text, len);
	mutex_unlock(&sim_lock);
	kfree(text);
	return err ? err : len;
}

static int world_show(struct seq_file *file, void *data)
{
	mutex_lock(&sim_lock);
	sim_world_show(file);
	mutex_unlock(&sim_lock);
	return 0;
}

static int world_open(struct inode *inode, struct file *file)
{
	return single_open(file, world_show, NULL);
}

static ssize_t world_write(struct file *file, const char __user *buf,
			   size_t len, loff_t *pos)
{
	return debugfs_write_text(buf, len, sim_world_write);
}

static const struct file_operations world_fops = {
	.owner = THIS_MODULE,
	.open = world_open,
	.read = seq_read,
	.write = world_write,
	.llseek = seq_lseek,
	.release = single_release,
};

static int faults_show(struct seq_file *file, void *data)
{
	mutex_lock(&sim_lock);
	sim_faults_show(file);
	mutex_unlock(&sim_lock);
	return 0;
}

static int faults_open(struct inode *inode, struct file *file)
{
	return single_open(file, faults_show, NULL);
}

static ssize_t faults_write(struct file *file, const char __user *buf,
			    size_t len, loff_t *pos)
{
	return debugfs_write_text(buf, len, sim_faults_write);
}

static const struct file_operations faults_fops = {
	.owner = THIS_MODULE,
	.open = faults_open,
	.read = seq_read,
	.write = faults_write,
	.llseek = seq_lseek,
	.release = single_release,
};

static int calibration_show(struct seq_file *file, void *data)
{
	mutex_lock(&sim_lock);
	sim_cal_show(file, file->private);
	mutex_unlock(&sim_lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(calibration);

static void show_scheduler(struct seq_file *file, const struct sim_radio *radio)
{
	unsigned int i;

	seq_printf(file, "scheduler %s\n", radio->scheduler->name);
	if (radio->scheduler_params.has_slot_duration)
		seq_printf(file, "scheduler_param slot_duration %u\n",
			   radio->scheduler_params.slot_duration);
	if (radio->scheduler_params.has_node_type)
		seq_printf(file, "scheduler_param node_type %u\n",
			   radio->scheduler_params.node_type);
	for (i = 0; i < radio->n_regions; i++)
		seq_printf(file, "region %u %s\n", radio->regions[i].id,
			   radio->regions[i].ops->name);
}

static int state_show(struct seq_file *file, void *data)
{
	const struct sim_radio *radio = file->private;
	const struct wpan_phy *phy = radio->hw->phy;

	mutex_lock(&sim_lock);
	seq_printf(file, "radio %u\n", radio->index);
	seq_printf(file, "phy %s\n", dev_name(&phy->dev));
	seq_printf(file, "interface %s\n", radio->up ? "up" : "down");
	seq_printf(file, "page %u channel %u\n", phy->current_page,
		   phy->current_channel);
	seq_printf(file, "pan_id 0x%04x short_addr 0x%04x ext_addr 0x%016llx\n",
		   radio->pan_id, radio->short_addr, radio->ext_addr);
	seq_printf(file, "deep_sleep %s\n",
		   sim_cal_get(radio, SIM_CAL_AUTO_SLEEP_MARGIN) < 0 ? "off" :
								       "on");
	show_scheduler(file, radio);
	sim_fira_show(file, radio);
	sim_ccc_show(file, radio);
	sim_simple_show(file, radio);
	mutex_unlock(&sim_lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(state);

static void debugfs_add_radio(struct sim_radio *radio)
{
	struct dentry *dir;
	char name[16];

	snprintf(name, sizeof(name), "radio%u", radio->index);
	dir = debugfs_create_dir(name, debugfs_root);
	debugfs_create_file("state", 0400, dir, radio, &state_fops);
	debugfs_create_file("calibration", 0400, dir, radio, &calibration_fops);
}

void sim_debugfs_init(void)
{
	struct sim_radio *radio;

	debugfs_root = debugfs_create_dir(KBUILD_MODNAME, NULL);
	debugfs_create_file("world", 0600, debugfs_root, NULL, &world_fops);
	debugfs_create_file("faults", 0600, debugfs_root, NULL, &faults_fops);
	mutex_lock(&sim_lock);
	sim_for_each_radio(radio)
		debugfs_add_radio(radio);
	mutex_unlock(&sim_lock);
}

void sim_debugfs_exit(void)
{
	debugfs_remove_recursive(debugfs_root);
}
