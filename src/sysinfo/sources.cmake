list(APPEND VEXA_SOURCES
  sysinfo/text_scan.cpp
  sysinfo/arm_parts.cpp
  sysinfo/cpu_probe.cpp
  sysinfo/os_probe.cpp
  sysinfo/gpu_probe.cpp
  sysinfo/host_probe.cpp
  sysinfo/const_str_api.cpp
)
