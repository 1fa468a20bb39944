# SPDX-License-Identifier: GPL-2.0-only
# Converts the device table to a C header. The header has a macro for each backend, for example
# BOARD_LSEEK_DEVICES, with the names of the device files below /dev. The script ignores the
# register width. A UIO device whose name begins with rtc is the machine's clock and has its own macro.
{ sub(/#.*/, "") }
NF >= 4 {
	sub(/^\/dev\//, "", $2)
	sub(/(8|16|32)$/, "", $4)
	if ($4 == "Uio" && $2 ~ /^rtc/)
		$4 = "Clock"
	names[toupper($4)] = names[toupper($4)] " \\\n\t\"" $2 "\","
}
END {
	print "/* Made from devices.def. */"
	for (type in names)
		printf "\n#define BOARD_%s_DEVICES%s\n", type, names[type]
}
