"""Parts of screens and services of the host."""
