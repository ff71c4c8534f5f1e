"""What a source goes through before it is drawn: the skin names any number of them."""
