"""What draws a source: the skin names one for each."""
