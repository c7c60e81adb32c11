"""Uses a program as a person does: through its windows, from another process."""
