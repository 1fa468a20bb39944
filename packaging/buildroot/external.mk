# SPDX-License-Identifier: MIT

include $(sort $(wildcard $(BR2_EXTERNAL_RYNVEL_PATH)/package/*/*.mk))
