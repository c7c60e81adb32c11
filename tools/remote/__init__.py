"""Controls a program through its windows, from another process."""
