# Sourced by the scripts: parallel jobs for builds and tests. The machines this runs on are
# shared 2-core boxes, so never more than 2 (override with LUMO2D_JOBS).
if [ -z "${LUMO2D_JOBS:-}" ]; then
  LUMO2D_JOBS=$(nproc)
  if [ "$LUMO2D_JOBS" -gt 2 ]; then LUMO2D_JOBS=2; fi
fi
export LUMO2D_JOBS
