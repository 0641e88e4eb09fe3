# Completion of velajpeg for bash; made of the table of options by velajpeg --completion bash.
_velajpeg() {
    local word=${COMP_WORDS[COMP_CWORD]}
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
        -o | --output)
            compopt -o filenames
            COMPREPLY=($(compgen -f -- "$word"))
            return ;;
        --out-dir)
            compopt -o filenames
            COMPREPLY=($(compgen -d -- "$word"))
            return ;;
        -q | --quality)
            return ;;
        -s | --subsampling)
            COMPREPLY=($(compgen -W '444 422 420' -- "$word"))
            return ;;
        -r | --restart)
            return ;;
        --target-size)
            return ;;
        --threads)
            return ;;
        --raw)
            COMPREPLY=($(compgen -W 'gray rgb24 bgr24 rgb0 bgr0 0rgb 0bgr rgb565le rgb555le yuv420p yv12 yuv422p yuv444p nv12 nv21 nv16 nv61 yuyv422 yvyu422 uyvy422 vyuy422' -- "$word"))
            return ;;
        --size)
            return ;;
        --step)
            return ;;
        --range)
            COMPREPLY=($(compgen -W 'full limited' -- "$word"))
            return ;;
        --matrix)
            COMPREPLY=($(compgen -W '601 709' -- "$word"))
            return ;;
        --background)
            return ;;
        --max-pixels)
            return ;;
        -j | --jobs)
            return ;;
        --exif)
            compopt -o filenames
            COMPREPLY=($(compgen -f -- "$word"))
            return ;;
        --icc)
            compopt -o filenames
            COMPREPLY=($(compgen -f -- "$word"))
            return ;;
        --comment)
            return ;;
        --density)
            return ;;
        --orientation)
            return ;;
    esac
    if [[ $word == -* ]]; then
        COMPREPLY=($(compgen -W '--output --out-dir --mjpeg --no-clobber --force-name --sync --quality --subsampling --progressive --restart --target-size --threads --raw --size --step --range --matrix --background --max-pixels --demo --recursive --jobs --strip --exif --icc --comment --density --orientation --json --verbose --quiet --help --version' -- "$word"))
    else
        compopt -o filenames
        COMPREPLY=($(compgen -f -- "$word"))
    fi
}
complete -F _velajpeg velajpeg
