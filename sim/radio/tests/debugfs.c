// SPDX-License-Identifier: GPL-2.0
/*
 * debugfs: how tests set the world and see what arrived.
 */
#include <linux/debugfs.h>
#include <linux/module.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/uaccess.h>

#include "modes/modes.h"
#include "tests/faults.h"
#include "tests/tests.h"

#define DEBUGFS_MAX_WRITE 16384

static struct dentry *debugfs_root;

/* ---- Files that are written: commands, and what they made ---- */

/* Their time may go faster now, or slower. */
static int world_write(const char *text, size_t len)
{
	int err = sim_world_write(text, len);
	struct sim_radio *radio;

	sim_for_each_radio(radio)
		sim_radio_kick(radio);
	return err;
}

struct text_file {
	const char *name;
	/* Both are called with sim_lock held. */
	void (*show)(struct seq_file *file);
	/* NULL for a file that is only read. */
	int (*write)(const char *text, size_t len);
};

static const struct text_file text_files[] = {
	{ "world", sim_world_show, world_write },
	{ "paths", sim_world_show_paths },
	{ "faults", sim_faults_show, sim_faults_write },
	{ "counts", sim_counts_show },
};

static int text_show(struct seq_file *file, void *data)
{
	const struct text_file *text_file = file->private;

	mutex_lock(&sim_lock);
	text_file->show(file);
	mutex_unlock(&sim_lock);
	return 0;
}

static int text_open(struct inode *inode, struct file *file)
{
	return single_open(file, text_show, inode->i_private);
}

/* One write is one text: applied whole when all of it can be read. */
static ssize_t text_write(struct file *file, const char __user *buf, size_t len,
			  loff_t *pos)
{
	const struct text_file *text_file = file_inode(file)->i_private;
	char *text;
	int err;

	if (!text_file->write)
		return -EINVAL;
	if (len > DEBUGFS_MAX_WRITE)
		return -E2BIG;
	text = memdup_user_nul(buf, len);
	if (IS_ERR(text))
		return PTR_ERR(text);
	mutex_lock(&sim_lock);
	err = text_file->write(text, len);
	mutex_unlock(&sim_lock);
	kfree(text);
	return err ? err : len;
}

static const struct file_operations text_fops = {
	.owner = THIS_MODULE,
	.open = text_open,
	.read = seq_read,
	.write = text_write,
	.llseek = seq_lseek,
	.release = single_release,
};

/* ---- Files of a radio ---- */

static int calibration_show(struct seq_file *file, void *data)
{
	mutex_lock(&sim_lock);
	sim_cal_show(file, file->private);
	mutex_unlock(&sim_lock);
	return 0;
}
DEFINE_SHOW_ATTRIBUTE(calibration);

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
		   radio->auto_sleep_margin < 0 ? "off" : "on");
	sim_parts_show(file, radio);
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
	size_t i;

	debugfs_root = debugfs_create_dir(KBUILD_MODNAME, NULL);
	for (i = 0; i < ARRAY_SIZE(text_files); i++)
		debugfs_create_file(text_files[i].name,
				    text_files[i].write ? 0600 : 0400,
				    debugfs_root, (void *)&text_files[i],
				    &text_fops);
	mutex_lock(&sim_lock);
	sim_for_each_radio(radio)
		debugfs_add_radio(radio);
	mutex_unlock(&sim_lock);
	sim_coverage_init(debugfs_root);
}

void sim_debugfs_exit(void)
{
	debugfs_remove_recursive(debugfs_root);
}
