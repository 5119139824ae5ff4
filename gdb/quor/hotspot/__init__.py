"""What a stock HotSpot tells of itself through its exported tables: code cache, methods, frames. Calls nothing in the process."""
