# shellcheck shell=sh
# IPv4 addresses and masks, and the names of adapters.

# device_of ADAPTER: its name on Linux. Only the loopback adapter is called otherwise there.
device_of() {
    if [ "$1" = lo0 ]; then echo lo; else printf '%s\n' "$1"; fi
}

# adapter_of DEVICE
adapter_of() {
    if [ "$1" = lo ]; then echo lo0; else printf '%s\n' "$1"; fi
}

adapter_exists() {
    case $1 in
    '' | . | .. | */*) return 1 ;;
    esac
    [ -e "/sys/class/net/$(device_of "$1")" ]
}

# inet_awk PROGRAM NAME=VALUE...: awk with helpers and the values, which come through its environment.
inet_awk() {
    inet_program=$1
    shift
    env "$@" awk '
        # Fills b[1..4]; true if the text is a dotted address.
        function bytes(text, b,    i) {
            if (text !~ /^[0-9]+\.[0-9]+\.[0-9]+\.[0-9]+$/ || split(text, b, ".") != 4)
                return 0
            for (i = 1; i <= 4; ++i)
                if (length(b[i]) > 3 || b[i] > 255)
                    return 0
            return 1
        }
        # The bits of a number of eight of them, as text.
        function bits(n,    i, text) {
            for (i = 0; i < 8; ++i) {
                text = n % 2 text
                n = int(n / 2)
            }
            return text
        }
        BEGIN {'"$inet_program"'}'
}

# is_inet TEXT: true for a dotted address.
is_inet() {
    inet_awk 'exit !bytes(ENVIRON["text"], b)' text="$1"
}

# prefix_of MASK: prints the number of one bits of a dotted or hexadecimal mask, or of a prefix length; fails if it is none.
prefix_of() {
    inet_awk '
        mask = tolower(ENVIRON["mask"])
        if (mask ~ /^[0-9]+$/) {
            if (length(mask) > 2 || mask + 0 > 32)
                exit 1
            print mask + 0
            exit
        }
        if (mask ~ /^0x[0-9a-f]+$/ && length(mask) <= 10) {
            mask = substr("00000000" substr(mask, 3), length(mask) - 1)
            for (i = 0; i < 4; ++i)
                all = all bits(16 * (index("0123456789abcdef", substr(mask, 2 * i + 1, 1)) - 1) \
                    + index("0123456789abcdef", substr(mask, 2 * i + 2, 1)) - 1)
        } else if (bytes(mask, b)) {
            for (i = 1; i <= 4; ++i)
                all = all bits(b[i])
        }
        if (all !~ /^1*0*$/ || all == "")
            exit 1
        print index(all "0", "0") - 1' mask="$1"
}

# class_prefix ADDRESS: the prefix length of the class of an address that came without a mask.
class_prefix() {
    first=${1%%.*}
    if [ "$first" -lt 128 ]; then
        echo 8
    elif [ "$first" -lt 192 ]; then
        echo 16
    else
        echo 24
    fi
}

# mask_of PREFIX [FORMAT]: the mask, dotted or with a FORMAT of printf for its four bytes.
mask_of() {
    inet_awk '
        left = ENVIRON["prefix"]
        for (i = 1; i <= 4; ++i) {
            ones = left > 8 ? 8 : left
            left -= ones
            b[i] = 256 - 2 ^ (8 - ones)
        }
        printf ENVIRON["form"] "\n", b[1], b[2], b[3], b[4]' prefix="$1" form="${2:-%d.%d.%d.%d}"
}
