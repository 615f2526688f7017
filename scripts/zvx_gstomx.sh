# Sourced by the scripts that run GStreamer against the core.
# zvx_point_gstreamer_at_core DIR CORE: writes DIR/gstomx.conf naming CORE for omxh264dec, and exports
# GST_OMX_CONFIG_DIR and a plugin registry of DIR's own, so that no user setting is read or changed.
zvx_point_gstreamer_at_core() {
  local dir=$1 core=$2
  cat >"$dir/gstomx.conf" <<CONF
[omxh264dec]
type-name=GstOMXH264Dec
core-name=$core
component-name=OMX.DHQ.video.k7nn.decoder
component-role=video_decoder.avc
rank=257
in-port-index=0
out-port-index=1
CONF
  export GST_OMX_CONFIG_DIR="$dir" GST_REGISTRY="$dir/registry.bin"
}
