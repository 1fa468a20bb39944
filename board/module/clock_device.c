// SPDX-License-Identifier: GPL-2.0-only
/*
 * The PL031 real-time clock of the machine as a UIO device. guest/init must unbind the clock from the
 * driver of the kernel before it loads this module.
 */
#include <linux/amba/bus.h>
#include <linux/bug.h>
#include <linux/interrupt.h>
#include <linux/kernel.h>
#include <linux/module.h>
#include <linux/slab.h>
#include <linux/spinlock.h>

#include "board.h"
#include "board_uio.h"
#include "device_names.h"

struct clock_device {
	struct board_uio uio;
	spinlock_t irq_lock; /* keeps "enabled" and the state of the interrupt line consistent */
};

static const char *const names[] = { BOARD_CLOCK_DEVICES };
static_assert(ARRAY_SIZE(names) == 1, "the machine has one clock");

static void set_enabled(struct board_uio *uio, bool enabled)
{
	struct clock_device *clock = container_of(uio, struct clock_device, uio);
	unsigned long flags;

	spin_lock_irqsave(&clock->irq_lock, flags);
	if (enabled && !uio->enabled)
		enable_irq(uio->info.irq);
	if (!enabled && uio->enabled)
		disable_irq_nosync(uio->info.irq);
	uio->enabled = enabled;
	spin_unlock_irqrestore(&clock->irq_lock, flags);
}

/* An interrupt that no program has cleared stays active, so the handler must disable it. */
static irqreturn_t mask_interrupt(int irq, struct uio_info *info)
{
	set_enabled(container_of(info, struct board_uio, info), false);
	return IRQ_HANDLED;
}

static int clock_probe(struct amba_device *amba, const struct amba_id *id)
{
	struct clock_device *clock = devm_kzalloc(&amba->dev, sizeof(*clock), GFP_KERNEL);

	if (!clock)
		return -ENOMEM;

	spin_lock_init(&clock->irq_lock);
	clock->uio.set_enabled = set_enabled;
	clock->uio.info.irq = amba->irq[0];
	clock->uio.info.irq_flags = IRQF_NO_AUTOEN;
	clock->uio.info.handler = mask_interrupt;
	clock->uio.info.mem[0] = (struct uio_mem){
		.name = "registers",
		.memtype = UIO_MEM_PHYS,
		.addr = amba->res.start,
		.size = resource_size(&amba->res),
	};
	amba_set_drvdata(amba, clock);
	return board_uio_add(&clock->uio, names[0], &amba->dev);
}

static void clock_remove(struct amba_device *amba)
{
	struct clock_device *clock = amba_get_drvdata(amba);

	board_uio_remove(&clock->uio);
}

static const struct amba_id ids[] = {
	{ .id = 0x00041031, .mask = 0x000fffff },
	{},
};

static struct amba_driver clock_driver = {
	.drv.name = KBUILD_MODNAME,
	.id_table = ids,
	.probe = clock_probe,
	.remove = clock_remove,
};

int clock_device_init(void)
{
	return amba_driver_register(&clock_driver);
}

void clock_device_exit(void)
{
	amba_driver_unregister(&clock_driver);
}
