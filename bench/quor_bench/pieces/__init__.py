"""One module a subject. Each has NAME, TITLE and measure(jvm, effort), which gives its tables."""
