"""Elements that are drawn through a renderer which the skin chooses."""
