"""Changes the sources a little, one place at a time, and sees whether the tests notice."""
