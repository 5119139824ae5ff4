"""What the agent costs, measured. Python's own library alone."""
