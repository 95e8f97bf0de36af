# Sourced by the comparison scripts, after they set $here to their own folder: SHARED, the
# folder of tools every checkout shares (pairbench.py, make-corpus.sh), and PAIRBENCH. The
# folder sits beside the main checkout; a worktree finds the main checkout through git's
# common folder, so no script depends on where the checkouts live.
shared_tools_folder() {
  local common
  if common=$(git -C "$here" rev-parse --path-format=absolute --git-common-dir 2>/dev/null); then
    readlink -m "$(dirname "$common")/../shared"
  else
    readlink -m "$here/../../../shared"  # a checkout without git metadata: the main layout
  fi
}
SHARED=${SHARED:-$(shared_tools_folder)}
PAIRBENCH=${PAIRBENCH:-$SHARED/bench/pairbench.py}
[ -f "$PAIRBENCH" ] || { echo "no pairbench.py at $PAIRBENCH; set SHARED or PAIRBENCH" >&2; exit 2; }
