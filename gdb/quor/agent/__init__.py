"""The agent in the stopped process: where it stands, how it is asked, what it is asked."""
