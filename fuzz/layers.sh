# Sourced by build.sh and coverage.sh: the layers each fuzz target links,
# lowest first, and the libraries a layer's objects call. A target missing
# from the table links xml and cim.
declare -A layers=(
    [cimxml]="xml"
    [url]="xml cim"
    [avps]="xml cim"
    [status]="xml cim transport controller cli"
    [paths]="xml cim controller"
    [reports]="xml cim controller"
    [cmdline]="xml cim transport controller cli"
)
default_layers="xml cim"

declare -A layer_libs=(
    [transport]="-lcurl"
    [cli]="-lncurses"
)
