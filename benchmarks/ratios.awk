# SPDX-License-Identifier: MIT
# Prints the ratios that limits.table lists, and the numbers of ratios within and above their limits. Ends with status 1
# if a ratio exceeds its limit, and with status 2 if a result is missing.
# Usage: awk -v column=one|two -f ratios.awk limits.table RESULTS.csv

BEGIN { limit_field = column == "one" ? 3 : 4 }

FNR == 1 { file_number++ }

file_number == 1 && !/^#/ && NF == 4 {
    measured[++rows] = $1
    against[rows] = $2
    limit[rows] = $limit_field
}

# The first columns of a result are name, iterations, real_time and cpu_time.
file_number == 2 && /_median"/ {
    split($0, fields, ",")
    name = fields[1]
    gsub(/"|_median|\/real_time/, "", name)
    time[name] = fields[1] ~ /real_time/ ? fields[3] : fields[4]
}

function verdict(ratio, highest) {
    if (highest == "-")
        return ""
    if (ratio <= highest) {
        passed++
        return "pass"
    }
    failed++
    return "FAIL"
}

END {
    printf "%-33s %10s   %-31s %10s %7s %6s\n", "measured", "ns", "against", "ns", "ratio", "limit"
    for (row = 1; row <= rows; row++) {
        if (!(time[against[row]] > 0) || !(time[measured[row]] > 0)) {
            printf "ratios.awk: %s or %s has no result (run both)\n", measured[row], against[row] > "/dev/stderr"
            exit 2
        }
        ratio = time[measured[row]] / time[against[row]]
        printf "%-33s %10.2f   %-31s %10.2f %7.3f %6s %s\n", measured[row], time[measured[row]], against[row],
            time[against[row]], ratio, limit[row], verdict(ratio, limit[row])
    }
    printf "%d passed, %d failed\n", passed, failed
    exit failed > 0
}
