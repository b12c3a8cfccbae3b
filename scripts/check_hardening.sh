#!/bin/sh
# Does a built file have the protections that it is built for? Prints one line; names what is lacking and fails.
#   scripts/check_hardening.sh FILE...   not stripped; OBJDUMP names the program for another machine's files
set -eu
[ "$#" -gt 0 ] || {
    echo "usage: scripts/check_hardening.sh FILE..." >&2
    exit 2
}

# What is looked for in the code: the mark at the entry of a function; the step over a page of a large frame, and the touch
# of that page behind it.
machine_of() {
    case $(readelf -h "$1" | sed -n 's/^ *Machine: *//p') in
    *X86-64*) # g++ touches with or, clang with mov
        entry='endbr64' step='sub +\$0x1000,%rsp' touch='(or|mov)[ql]? +\$0x0,(0x[0-9a-f]+)?\(%rsp\)'
        ;;
    AArch64) entry='bti|paciasp' step='' touch='str[[:space:]]+xzr,[[:space:]]*\[sp' ;;
    *) entry='' step='' touch='' ;; # not known here: anything will do
    esac
}

failed=
check() {
    file=$1
    lacks=
    lacking() {
        lacks="$lacks, $1"
    }
    programs=$(readelf -lW "$file")
    dynamic=$(readelf -dW "$file")
    names=$(readelf -sW --dyn-syms "$file")
    machine_of "$file"
    echo "$programs" | grep -q 'Elf file type is DYN' || lacking "position independence"
    echo "$programs" | grep -q GNU_RELRO || lacking "read-only relocations"
    echo "$dynamic" | grep -qE 'BIND_NOW|FLAGS.*NOW' || lacking "binding at start (full RELRO)"
    echo "$programs" | grep -E 'GNU_STACK' | grep -q 'RW ' || lacking "a stack that is not executable"
    ! echo "$programs" | grep -E '^ *LOAD' | grep -q 'RWE' || lacking "memory that is written or executed, not both"
    ! echo "$dynamic" | grep -q TEXTREL || lacking "code without relocations"
    ! echo "$dynamic" | grep -qE 'RPATH|RUNPATH' || lacking "libraries from the system's places only"
    echo "$names" | grep -q __stack_chk_fail || lacking "stack protection"
    echo "$names" | grep -qE '__[a-z]+_chk@' || lacking "checked calls (_FORTIFY_SOURCE)"
    code=$("${OBJDUMP:-objdump}" -d --no-show-raw-insn "$file")
    echo "$code" | grep -A 1 '<main>:$' | grep -qE -e "$entry" || lacking "control-flow protection"
    [ "$(echo "$code" | grep -A 1 -E -e "$step" | grep -cE -e "$touch")" -ge 3 ] || lacking "stack clash protection"
    if [ -n "$lacks" ]; then
        echo "$file lacks ${lacks#, }" >&2
        failed=1
    else
        echo "$file: PIE, full RELRO, no executable stack, stack protector, stack clash, fortified, control flow"
    fi
}
for file in "$@"; do
    check "$file"
done
[ -z "$failed" ]
