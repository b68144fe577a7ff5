#pragma once

// The preferences: every setting on five pages, previews of the prompts, and files of the user's own in their place.
//
//   Values   read when the window opens and stored when it closes, whichever way: there is nothing to take back. A
//            loaded file replaces its prompt at once.
//   Preview  as a call would play it, with the sound settings that are stored; a slider is heard after the window has
//            been closed. Ends with the next preview or with the window; a load meanwhile does not change it.
//   Text     UTF-8; a path holds at most 259 bytes. Numbers count up to their first character that is no digit.
//   Threads  main; a preview has the player's thread.
//   Errors   an empty copy folder while copying is on: one message, and it is stored all the same. A missing prompt: in
//            the log. A chosen file that is no sound: nothing happens. A prompt that cannot be written: in the log, and
//            the old one stays.

#include <cstdint>

#include "devices/sound_player.h"
#include "foundation/text.h"
#include "ui/dialog.h"
#include "ui/list_view.h"
#include "ui/tab_view.h"

class SetDlg : public LDialog, public LListViewNotify {
 public:
  void InitDialog() override;
  void DestroyDialog() override;
  void EnableControls() override;
  void Command(std::uint32_t id) override;
  // There is no list here.
  void EvListDoubleClicked() override;

  // Previews On-Hold 1 to 3, or the start or end prompt.
  void CmPlay(int slot);
  void CmPlay(bool endPrompt);
  // Lets the user choose a sound file to take its place.
  void CmChange(int slot);
  void CmChange(bool endPrompt);

 private:
  void CmLoadFile();
  void CmLoadRecordFile();
  // Where the on-hold file or record prompt lies that was chosen last.
  void GetWavFilePath(char (&path)[kiv::kTextSize]);
  void GetRecordWavFilePath(char (&path)[kiv::kTextSize]);

  void Play(char const* path);
  void Load(char const* path);
  void BrowseCopyFolder();
  bool IsChecked(int id);
  std::int32_t GetNumber(int id);

  LSoundPlayer player_;
  std::int32_t slot_ = 1;
  bool endPrompt_ = false;
  LTabView tabs_;
};
