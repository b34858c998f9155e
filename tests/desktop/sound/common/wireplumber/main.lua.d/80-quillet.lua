-- WirePlumber 0.4: a test never touches the machine's own devices, and remembers nothing.
alsa_monitor.enabled = false
v4l2_monitor.enabled = false
libcamera_monitor.enabled = false
default_access.properties["enable-flatpak-portal"] = false
device_defaults.properties["use-persistent-storage"] = false
stream_defaults.properties["restore-props"] = false
stream_defaults.properties["restore-target"] = false
