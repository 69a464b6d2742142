# Completion of zomu for bash. Written by python/make_pages.py.
_zomu() {
    local word=${COMP_WORDS[COMP_CWORD]} path= words=
    case "${COMP_WORDS[1]} ${COMP_WORDS[2]}" in
        "model "*) [ $COMP_CWORD -gt 2 ] && path="model ${COMP_WORDS[2]}" ;;
        "gallery "*) [ $COMP_CWORD -gt 2 ] && path="gallery ${COMP_WORDS[2]}" ;;
    esac
    if [ -z "$path" ] && [ $COMP_CWORD -gt 1 ]; then path=${COMP_WORDS[1]}; fi
    case $path in
        "") words="-h --help --version find extract verify search cluster draw model manifest extract-all gallery" ;;
        "find") words="-h --help --csv --force --finder --largest --json" ;;
        "extract") words="-h --help --landmarks --finder --largest --unchecked --model --json" ;;
        "verify") words="-h --help --landmarks --finder --largest --unchecked --threshold --model --json" ;;
        "search") words="-h --help --top --landmarks --finder --largest --threshold --model --json" ;;
        "cluster") words="-h --help --finder --threshold --model --json" ;;
        "draw") words="-h --help --landmarks --finder --ids" ;;
        "model") words="-h --help install check list fingerprint where" ;;
        "model install") words="-h --help --folder --force --json" ;;
        "model check") words="-h --help --json" ;;
        "model list") words="-h --help --json" ;;
        "model fingerprint") words="-h --help --json" ;;
        "model where") words="-h --help --json" ;;
        "manifest") words="-h --help --finder --largest --json" ;;
        "extract-all") words="-h --help --landmarks --finder --unchecked --model --processes --scheduler --part --limit --again --npy --json" ;;
        "gallery") words="-h --help add search delete rebuild" ;;
        "gallery add") words="-h --help --person --consent --expires --database --finder --model --json" ;;
        "gallery search") words="-h --help --top --landmarks --finder --largest --threshold --model --json" ;;
        "gallery delete") words="-h --help --json" ;;
        "gallery rebuild") words="-h --help --exact --approximate --json" ;;
    esac
    # Where nothing is left, `-o default` completes names of files.
    if [[ $word == -* || -z $path || $path == model || $path == gallery ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    else
        COMPREPLY=()
    fi
}
complete -o default -F _zomu zomu
