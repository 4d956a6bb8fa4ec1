# awk -f report.awk FIGURES AIMS: the figures as tables in the order of the aims, a
# ratio where the aims' file asks for one, whether each aim is met, and what stands in
# the way where it is not.

function value(expression,    part) {
    if (split(expression, part, "/") == 2)
        return (part[1] in figure) && (part[2] in figure) ? figure[part[1]] / figure[part[2]] : ""
    return expression in figure ? figure[expression] : ""
}

function shown(number) {
    if (number == "")
        return "-"
    if (number == int(number) || number >= 1000)
        return sprintf("%.0f", number)
    return sprintf(number >= 100 ? "%.0f" : number >= 10 ? "%.1f" : number >= 1 ? "%.2f" : "%.3f", number)
}

function trimmed(text) {
    gsub(/^ +| +$/, "", text)
    return text
}

# The text with the figures that it names between braces.
function filled(text) {
    while (match(text, /{[^}]*}/))
        text = substr(text, 1, RSTART - 1) shown(value(substr(text, RSTART + 1, RLENGTH - 2))) \
            substr(text, RSTART + RLENGTH)
    return text
}

function verdictOf(number, aim,    limit) {
    if (number == "")
        return "not measured"
    if (aim == "")
        return ""
    limit = substr(aim, 4) + 0
    return (aim ~ /^<=/ ? number <= limit : number >= limit) ? "met" : "not met"
}

FNR == NR { figure[$1] = $2; next }
/^(#|$)/ { next }
/^==/ {
    printf "\n### %s\n\n", substr($0, 4)
    next
}
/^\$/ {
    printf "%s\n\n| What | Figure | Aim | |\n|---|---|---|---|\n", substr($0, 3)
    next
}
/^ *\|/ {
    if (verdict == "not met")
        reasons = reasons ": " filled(trimmed(substr($0, index($0, "|") + 1)))
    next
}
{
    split($0, field, "|")
    number = value(trimmed(field[1]))
    aim = trimmed(field[3])
    verdict = verdictOf(number, aim)
    ++count[verdict]
    if (verdict == "not met")
        reasons = reasons "\n- " trimmed(field[2])
    sub(/^<=/, "at most", aim)
    sub(/^>=/, "at least", aim)
    printf "| %s | %s | %s | %s |\n", trimmed(field[2]), shown(number), aim, verdict
}
END {
    printf "\n%d aims met, %d not met.\n", count["met"], count["not met"]
    if (reasons != "")
        printf "\nNot met:\n%s\n", reasons
}
