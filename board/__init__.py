"""The instrument as an ARM board that boots, is touched, updates itself and comes back, in an emulator."""
