"""What a screen looks like, pixel by pixel: a list of operations that the page carries out."""
