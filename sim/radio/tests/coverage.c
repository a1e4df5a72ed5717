// SPDX-License-Identifier: GPL-2.0
/*
 * Which code has run, for a fuzzer; only in a module that is built for it (SIM_FUZZ).
 *
 * Debian's kernel has no KCOV, so that the function that the compiler calls from each basic block
 * can be ours.
 */
#include <linux/debugfs.h>
#include <linux/instruction_pointer.h>
#include <linux/mm.h>
#include <linux/vmalloc.h>

#include "tests/tests.h"

/* Calls are five bytes at least: a block for each four of 128 KiB of code. */
#define COVERAGE_BLOCKS 32768
#define COVERAGE_SHIFT 2

/* Shared with the fuzzer, which clears the first part. */
static struct {
	/* How often a block has run, up to 255. */
	u8 hits[COVERAGE_BLOCKS];
	/* Whether it ever has. */
	u8 seen[COVERAGE_BLOCKS];
} coverage __aligned(PAGE_SIZE);

void __sanitizer_cov_trace_pc(void);

/* Not exact when radios run at the same time; nothing hangs on that. */
notrace void __sanitizer_cov_trace_pc(void)
{
	unsigned long block = (_RET_IP_ - (unsigned long)__sanitizer_cov_trace_pc) >>
			      COVERAGE_SHIFT;

	block %= COVERAGE_BLOCKS;
	if (coverage.hits[block] != U8_MAX)
		coverage.hits[block]++;
	coverage.seen[block] = 1;
}

static vm_fault_t coverage_fault(struct vm_fault *vmf)
{
	size_t offset = vmf->pgoff << PAGE_SHIFT;

	if (offset >= sizeof(coverage))
		return VM_FAULT_SIGBUS;
	vmf->page = vmalloc_to_page((void *)&coverage + offset);
	get_page(vmf->page);
	return 0;
}

static const struct vm_operations_struct coverage_vm_ops = {
	.fault = coverage_fault,
};

static int coverage_mmap(struct file *file, struct vm_area_struct *vma)
{
	vma->vm_ops = &coverage_vm_ops;
	return 0;
}

static const struct file_operations coverage_fops = {
	.owner = THIS_MODULE,
	.open = simple_open,
	.mmap = coverage_mmap,
};

void sim_coverage_init(struct dentry *dir)
{
	/* Without the wrapper of debugfs, which has no mmap: the file holds the module. */
	debugfs_create_file_unsafe("coverage", 0600, dir, NULL, &coverage_fops);
}
