"""What scripts/bench measures, row by row, and the table that comes of it."""
