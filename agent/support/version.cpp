/* version.cpp: tells which version a library file is. gdb: print quor_agent_version; without gdb: strings. */
[[gnu::used]] static const char quor_agent_version[] = "libquor_agent " QUOR_VERSION;
