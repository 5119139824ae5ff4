"""Java debugging in gdb. Importing the package alone needs no gdb; `quor.install` adds the commands to gdb."""
