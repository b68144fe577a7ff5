#pragma once

// Notes a moment of an object's life in the settings file. Users of this header do not see the settings store.
void Note(const char* name, const char* moment);
