# Sourced by what runs Windows programs: Wine without a display, with its server running beforehand.
PATH=$PATH:/usr/lib/wine
: "${WINEPREFIX:=${XDG_CACHE_HOME:-$HOME/.cache}/utils-wineprefix}"
: "${WINEDEBUG:=-all}"
: "${WINEDLLOVERRIDES:=mscoree=;mshtml=;winemenubuilder.exe=}"
WINEARCH=win64
# File names are UTF-8, whatever the caller's locale.
LC_ALL=C.UTF-8
export LC_ALL PATH WINEPREFIX WINEDEBUG WINEDLLOVERRIDES WINEARCH
unset DISPLAY WAYLAND_DISPLAY

# Makes the prefix when it is not there, and starts the server, which then waits for the next program.
start_wine_server() {
  mkdir -p "$WINEPREFIX"
  (
    flock 9
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
      wine64 wineboot -i 9>&- && wineserver64 -w 9>&-
    fi
    # 0: this call started the server; 2: one is already running.
    if wineserver64 -p"${WINE_KEEP:-300}" 9>&-; then wine64 cmd /c exit 9>&-; fi
  ) 9>"$WINEPREFIX/.lock" >/dev/null 2>&1 </dev/null
}
