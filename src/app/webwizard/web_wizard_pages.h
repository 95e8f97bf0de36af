// The pages of the web album wizard, in the order the wizard shows them. Each keeps its
// widgets; what the pages decide between them (the design, the options, the folder) lives in
// the WebWizard.
#pragma once

#include <vector>

#include <QWizardPage>

#include "webalbum/design_template.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;
class QRadioButton;
class QTextBrowser;

namespace quorvane::app {

class HtmlFormView;
class WebWizard;

class WelcomePage : public QWizardPage {
  Q_OBJECT
 public:
  explicit WelcomePage(WebWizard* wizard);
  void initializePage() override;

 private:
  WebWizard* wizard_;
  QLabel* album_;
};

// The design chooser: the installed designs with the chosen one's description and preview,
// and a browse button for a template file anywhere.
class TemplatePage : public QWizardPage {
  Q_OBJECT
 public:
  explicit TemplatePage(WebWizard* wizard);
  void initializePage() override;
  bool validatePage() override;
  int nextId() const override;

  QListWidget* list() const { return list_; }
  QLabel* preview() const { return preview_; }
  QTextBrowser* description() const { return description_; }
  const QString& chosen_path() const { return chosen_; }

 private:
  void ShowTemplate(const webalbum::TemplateInfo& info);
  void Browse();

  WebWizard* wizard_;
  std::vector<webalbum::TemplateInfo> templates_;
  QListWidget* list_;
  QLabel* preview_;
  QTextBrowser* description_;
  QTextBrowser* note_;
  QString chosen_;
};

// The design's settings form, submitted on Next.
class SettingsPage : public QWizardPage {
  Q_OBJECT
 public:
  explicit SettingsPage(WebWizard* wizard);
  void initializePage() override;
  bool validatePage() override;

  HtmlFormView* form() const { return form_; }

 private:
  WebWizard* wizard_;
  HtmlFormView* form_;
  int shown_generation_ = -1;
};

class OptionsPage : public QWizardPage {
  Q_OBJECT
 public:
  explicit OptionsPage(WebWizard* wizard);
  void initializePage() override;
  bool validatePage() override;

  QCheckBox* resize() const { return resize_; }
  QRadioButton* preset(int index) const { return presets_[index]; }
  QRadioButton* custom() const { return custom_; }
  QLineEdit* custom_width() const { return width_; }
  QLineEdit* custom_height() const { return height_; }
  QCheckBox* keep_aspect() const { return keep_aspect_; }
  QCheckBox* only_larger() const { return only_larger_; }
  QCheckBox* strip_private() const { return strip_private_; }

 private:
  void UpdateEnabled();

  WebWizard* wizard_;
  QCheckBox* resize_;
  QRadioButton* presets_[3];
  QRadioButton* custom_;
  QLineEdit* width_;
  QLineEdit* height_;
  QCheckBox* keep_aspect_;
  QCheckBox* only_larger_;
  QLabel* only_larger_note_;
  QCheckBox* strip_private_;
};

class FolderPage : public QWizardPage {
  Q_OBJECT
 public:
  explicit FolderPage(WebWizard* wizard);
  void initializePage() override;
  bool validatePage() override;

  QLineEdit* path() const { return path_; }

 private:
  void Browse();

  WebWizard* wizard_;
  QLineEdit* path_;
};

class ProcessingPage : public QWizardPage {
  Q_OBJECT
 public:
  explicit ProcessingPage(WebWizard* wizard);
  void initializePage() override;
  bool isComplete() const override;

  QLabel* status() const { return status_; }
  QProgressBar* bar() const { return bar_; }
  bool succeeded() const { return ended_ && result_ok_; }

 private:
  void Ended(bool ok, const QString& text);

  WebWizard* wizard_;
  QLabel* status_;
  QProgressBar* bar_;
  QLabel* hint_;
  bool ended_ = false;
  bool result_ok_ = false;
};

}  // namespace quorvane::app
