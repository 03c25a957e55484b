# Shared by run and nightly: what each step took, told at the end, also when one has failed.
# shellcheck shell=bash
step_times=()

step() {
    local began=$SECONDS
    step_times+=("failed  $*")
    "$@"
    step_times[-1]=$(printf '%4d s  %s' $((SECONDS - began)) "$*")
}

tell_times() {
    printf '==> what each step took:\n'
    printf '    %s\n' "${step_times[@]}" "$(printf '%4d s  in all' "$SECONDS")"
}
trap tell_times EXIT
