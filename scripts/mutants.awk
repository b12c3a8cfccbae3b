# For each line of C++ that can have one, a small fault chosen by chance; for scripts/mutants.sh, which draws lots among
# them. Prints a random number, the file, the line's number and the line with its fault, divided by TABs.
#   awk -v seed=S -f scripts/mutants.awk FILE...
BEGIN {
    FS = "\001"
    srand(seed)
    either(" < ", " <= "); either(" > ", " >= "); either(" == ", " != "); either(" && ", " || ")
    either(" + ", " - "); either(" * ", " + "); either(" / ", " * "); either(" % ", " / "); either(" += ", " -= ")
    either("++", "--"); either(" & ", " | "); either(" << ", " >> "); either("true", "false"); either("(!", "(")
    either("&& !", "&& "); either("std::min", "std::max"); either("return -1;", "return 0;"); either("break;", "{}")
    either("continue;", "{}"); either(" 0", " 1")
}
function either(one, other) {
    from[++swaps] = one; to[swaps] = other
    from[++swaps] = other; to[swaps] = one
}
function add(before, instead, after) {
    made[++faults] = before instead after comment
}
function below(n) {
    return int(rand() * n)
}

# Exchanges one of the places where a word stands.
function swap_words(code,   i, at, places, where) {
    for (i = 1; i <= swaps; i++) {
        places = 0
        for (at = 1; index(substr(code, at), from[i]) > 0; at++) {
            at += index(substr(code, at), from[i]) - 1
            where[++places] = at
        }
        if (places > 0 && length(from[i]) > 1) {
            at = where[1 + below(places)]
            add(substr(code, 1, at - 1), to[i], substr(code, at + length(from[i])))
        }
    }
}

# Adds one to each number that is no part of a name or a format.
function change_numbers(code,   at, number, before, after) {
    for (at = 1; match(substr(code, at), /[0-9]+/) > 0; at += RLENGTH) {
        at += RSTART - 1
        number = substr(code, at, RLENGTH)
        before = at > 1 ? substr(code, at - 1, 1) : " "
        after = substr(code, at + RLENGTH, 1)
        if (before !~ /[A-Za-z0-9_.%]/ && after !~ /[A-Za-z0-9_.]/ && length(number) < 9)
            add(substr(code, 1, at - 1), number + 1, substr(code, at + RLENGTH))
    }
}

# Changes a character between the first and the last quote.
function change_text(code,   first, last, at, c, place) {
    first = index(code, "\"")
    for (last = length(code); last > first && substr(code, last, 1) != "\""; last--)
        ;
    if (first == 0 || last - first < 2)
        return
    at = first + 1 + below(last - first - 1)
    c = substr(code, at, 1)
    place = index("abcdefghijklmnopqrstuvwxyABCDEFGHIJKLMNOPQRSTUVWXY,: ={[.", c)
    if (place > 0)
        add(substr(code, 1, at - 1), substr("bcdefghijklmnopqrstuvwxyzBCDEFGHIJKLMNOPQRSTUVWXYZ;;_:[{,", place, 1), substr(code, at + 1))
}

function drop_statement(code,   bare) {
    bare = code
    sub(/^ */, "", bare)
    if (bare ~ /^[A-Za-z_*(][A-Za-z0-9_:.>()*&\[\]-]*(\(.*\)|( [-+|&^]?=| <<=) .*|\+\+|--)?;$/ && bare !~ /^(return|using|break|continue)/)
        add(substr(code, 1, length(code) - length(bare)), "{}", "")
}

function negate_condition(code) {
    if (match(code, /(if|while) \(.*\)( \{)?$/) > 0 && index(code, ";") == 0)
        add(substr(code, 1, RSTART - 1), substr(code, RSTART, index(substr(code, RSTART), "(")) "!(",
            substr(code, RSTART + index(substr(code, RSTART), "("), RLENGTH - index(substr(code, RSTART), "(")) ")")
}

# Comments, what the preprocessor reads, rows that end a table.
/^ *(\/\/|#|static_assert|\{nullptr|$)/ || /^[ {}();]*$/ { next }
{
    faults = 0
    at = index($0, " //")
    comment = at > 0 ? substr($0, at) : ""
    code = at > 0 ? substr($0, 1, at - 1) : $0
    sub(/ +$/, "", code)
    swap_words(code)
    change_numbers(code)
    change_text(code)
    drop_statement(code)
    negate_condition(code)
    if (faults > 0)
        printf "%.9f\t%s\t%d\t%s\n", rand(), FILENAME, FNR, made[1 + below(faults)]
}
