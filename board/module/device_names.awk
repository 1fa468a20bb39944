# SPDX-License-Identifier: GPL-2.0
# Makes a C header of the device list: per backend a macro with the names of its devices below
# /dev, for instance BOARD_LSEEK_DEVICES. The register width in the type's name makes no
# difference here. A UIO device called rtc is not one of the board's own but the machine's clock.
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
