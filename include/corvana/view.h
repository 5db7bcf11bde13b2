#pragma once

// The headless view layer: views with frames, tags, colours, borders and subviews; labels, buttons and image
// views; layout constraints and a layout pass that turns them into frames; hit testing and taps; a key window
// whose view tree can be drawn to a PNG (see render.h). It stands for the platform's UI toolkit, so the SDK's
// campaigns are built, laid out, tapped and drawn the same way on Linux as on a phone.
//
// Everything here is used on the main thread only. Coordinates are points; y grows downwards.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "corvana/export.h"
#include "corvana/value.h"

typedef struct _cairo cairo_t;

namespace corvana {

// ---- Geometry and colour ----------------------------------------------------------------------------------------

struct CORVANA_EXPORT Point {
  double x = 0, y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};
struct CORVANA_EXPORT Size {
  double width = 0, height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};
struct CORVANA_EXPORT Rect {
  Point origin;
  Size size;
  double minX() const { return origin.x; }
  double minY() const { return origin.y; }
  double maxX() const { return origin.x + size.width; }
  double maxY() const { return origin.y + size.height; }
  double midX() const { return origin.x + size.width / 2; }
  double midY() const { return origin.y + size.height / 2; }
  // Shrunk by dx on the left and right and dy at the top and bottom (grown for negative values).
  Rect insetBy(double dx, double dy) const;
  // Whether the point lies inside, the right and bottom edges excluded.
  bool contains(const Point& point) const;
  friend bool operator==(const Rect&, const Rect&) = default;
};
inline Rect makeRect(double x, double y, double width, double height) { return Rect{{x, y}, {width, height}}; }

// Red, green, blue and alpha, each normally in 0.0 .. 1.0; the default is the fully transparent colour.
struct CORVANA_EXPORT Color {
  double red = 0.0, green = 0.0, blue = 0.0, alpha = 0.0;
  static Color white() { return {1, 1, 1, 1}; }
  static Color black() { return {0, 0, 0, 1}; }
  static Color clear() { return {}; }
  friend bool operator==(const Color&, const Color&) = default;
};
// Hue, saturation, brightness and alpha of a colour, and back (all in 0.0 .. 1.0).
CORVANA_EXPORT void getHueSaturationBrightnessAlpha(const Color& color, double& hue, double& saturation,
                                                    double& brightness, double& alpha);
CORVANA_EXPORT Color colorWithHueSaturationBrightnessAlpha(double hue, double saturation, double brightness,
                                                           double alpha);

// ---- Images and fonts ---------------------------------------------------------------------------------------------

// A decoded picture: width x height pixels, RGBA, 8 bits per channel, not premultiplied.
class CORVANA_EXPORT Image {
 public:
  // None when the bytes are not a picture of a common web format.
  static std::shared_ptr<Image> imageWithData(const Data& bytes);
  static std::shared_ptr<Image> imageWithContentsOfFile(const std::string& path);
  Image(int width, int height, std::vector<uint8_t> rgba);
  Size size() const { return {static_cast<double>(width_), static_cast<double>(height_)}; }
  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<uint8_t>& rgba() const { return rgba_; }

 private:
  int width_ = 0, height_ = 0;
  std::vector<uint8_t> rgba_;
};

// The system font at a size, optionally bold and/or italic.
struct CORVANA_EXPORT Font {
  double pointSize = 17.0;
  bool bold = false;
  bool italic = false;
  static Font systemFontOfSize(double size) { return {size, false, false}; }
  static Font boldSystemFontOfSize(double size) { return {size, true, false}; }
  static Font italicSystemFontOfSize(double size) { return {size, false, true}; }
  Font fontWithSize(double size) const { return {size, bold, italic}; }
  friend bool operator==(const Font&, const Font&) = default;
};

// ---- Layout constraints -------------------------------------------------------------------------------------------

class View;

// Numbered as the platform numbers them.
enum class LayoutAttribute : int {
  NotAnAttribute = 0, Left = 1, Right = 2, Top = 3, Bottom = 4, Leading = 5, Trailing = 6, Width = 7, Height = 8,
  CenterX = 9, CenterY = 10,
};
enum class LayoutRelation : int { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };
inline constexpr float kLayoutPriorityRequired = 1000.0f;
inline constexpr float kLayoutPriorityDefaultHigh = 750.0f;
inline constexpr float kLayoutPriorityDefaultLow = 250.0f;

// firstItem.attribute (relation) secondItem.attribute * multiplier + constant; without a second item (or with
// NotAnAttribute) the right side is the constant alone. Items are not owned.
class CORVANA_EXPORT LayoutConstraint {
 public:
  static std::shared_ptr<LayoutConstraint> constraintWithItem(const std::shared_ptr<View>& item,
                                                               LayoutAttribute attribute, LayoutRelation relation,
                                                               const std::shared_ptr<View>& toItem,
                                                               LayoutAttribute toAttribute, double multiplier,
                                                               double constant);
  std::shared_ptr<View> firstItem() const { return firstItem_.lock(); }
  std::shared_ptr<View> secondItem() const { return secondItem_.lock(); }
  LayoutAttribute firstAttribute() const { return firstAttribute_; }
  LayoutAttribute secondAttribute() const { return secondAttribute_; }
  LayoutRelation relation() const { return relation_; }
  double multiplier() const { return multiplier_; }
  double constant() const { return constant_; }
  void setConstant(double constant) { constant_ = constant; }
  float priority() const { return priority_; }
  void setPriority(float priority) { priority_ = priority; }
  // An optional name for finding the constraint again (a storyboard sets it).
  const std::string& identifier() const { return identifier_; }
  void setIdentifier(std::string identifier) { identifier_ = std::move(identifier); }

 private:
  std::weak_ptr<View> firstItem_, secondItem_;
  LayoutAttribute firstAttribute_ = LayoutAttribute::NotAnAttribute;
  LayoutAttribute secondAttribute_ = LayoutAttribute::NotAnAttribute;
  LayoutRelation relation_ = LayoutRelation::Equal;
  double multiplier_ = 1.0;
  double constant_ = 0.0;
  float priority_ = kLayoutPriorityRequired;
  std::string identifier_;
};

// ---- Gestures and control events ----------------------------------------------------------------------------------

class CORVANA_EXPORT TapGestureRecognizer {
 public:
  explicit TapGestureRecognizer(std::function<void(TapGestureRecognizer&)> action) : action_(std::move(action)) {}
  // The view it was added to.
  std::shared_ptr<View> view() const { return view_.lock(); }
  void setView(const std::shared_ptr<View>& view) { view_ = view; }
  void recognize() { if (action_) action_(*this); }

 private:
  std::function<void(TapGestureRecognizer&)> action_;
  std::weak_ptr<View> view_;
};

inline constexpr uint32_t kControlEventTouchUpInside = 64;

// ---- Views ----------------------------------------------------------------------------------------------------------

enum class TextAlignment : int { Left = 0, Center = 1, Right = 2, Justified = 3, Natural = 4 };
enum class ContentMode : int { ScaleToFill = 0, ScaleAspectFit = 1, ScaleAspectFill = 2, Center = 4 };
enum class LayoutAxis : int { Horizontal = 0, Vertical = 1 };

struct CORVANA_EXPORT Layer {
  std::optional<Color> borderColor;
  double borderWidth = 0.0;
  double cornerRadius = 0.0;
};

class CORVANA_EXPORT View : public std::enable_shared_from_this<View> {
 public:
  explicit View(Rect frame = {});
  virtual ~View();
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  // The class name as the toolkit would print it ("View", "Label", "Button", "ImageView", or a subclass's own).
  virtual std::string className() const { return "View"; }

  Rect frame() const { return frame_; }
  virtual void setFrame(const Rect& frame);
  // The view's own coordinate space: origin (0, 0), the frame's size.
  Rect bounds() const { return {{0, 0}, frame_.size}; }

  int64_t tag() const { return tag_; }
  void setTag(int64_t tag) { tag_ = tag; }
  // This view when it has the tag, else the first match depth-first among the subviews; none when no view has it.
  std::shared_ptr<View> viewWithTag(int64_t tag);

  std::optional<Color> backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color) { backgroundColor_ = color; }
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { hidden_ = hidden; }
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
  Layer& layer() { return layer_; }
  const Layer& layer() const { return layer_; }

  // ---- Hierarchy ----
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  std::shared_ptr<View> superview() const;
  // Adds the view on top of the others (moving it from its former superview).
  void addSubview(const std::shared_ptr<View>& view);
  void removeFromSuperview();
  void bringSubviewToFront(const std::shared_ptr<View>& view);
  // The window the view is in, if any.
  class Window* window() const;

  // ---- Constraints and layout ----
  bool translatesAutoresizingMaskIntoConstraints() const { return translatesAutoresizingMask_; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool value) { translatesAutoresizingMask_ = value; }
  const std::vector<std::shared_ptr<LayoutConstraint>>& constraints() const { return constraints_; }
  void addConstraint(const std::shared_ptr<LayoutConstraint>& constraint);
  void addConstraints(const std::vector<std::shared_ptr<LayoutConstraint>>& constraints);
  void removeConstraint(const std::shared_ptr<LayoutConstraint>& constraint);
  // The first constraint held by this view with that identifier.
  std::shared_ptr<LayoutConstraint> constraintWithIdentifier(const std::string& identifier) const;
  float contentCompressionResistancePriority(LayoutAxis axis) const;
  void setContentCompressionResistancePriority(float priority, LayoutAxis axis);
  float contentHuggingPriority(LayoutAxis axis) const;
  void setContentHuggingPriority(float priority, LayoutAxis axis);
  // The natural size of the content; -1 on an axis without one.
  virtual Size intrinsicContentSize() const { return {-1, -1}; }

  void setNeedsUpdateConstraints() { needsUpdateConstraints_ = true; }
  bool needsUpdateConstraints() const { return needsUpdateConstraints_; }
  // Runs updateConstraints on this view and its subviews where requested.
  void updateConstraintsIfNeeded();
  virtual void updateConstraints() { needsUpdateConstraints_ = false; }
  void setNeedsLayout() { needsLayout_ = true; }
  // The layout pass over the subtree: pending constraint updates, then frames from the constraints (views that
  // translate their autoresizing mask keep their frames), then layoutSubviews top-down.
  void layoutIfNeeded();
  virtual void layoutSubviews() {}

  // ---- Coordinates and touches ----
  // A point of `view`'s coordinate space (or of the window when `view` is none) in this view's.
  Point convertPointFromView(const Point& point, const View* view) const;
  Point convertPointToView(const Point& point, const View* view) const;
  virtual bool pointInside(const Point& point) const { return bounds().contains(point); }
  // The deepest visible, interactive view containing the point (in this view's coordinates), front-most first.
  virtual std::shared_ptr<View> hitTest(const Point& point);

  const std::vector<std::shared_ptr<TapGestureRecognizer>>& gestureRecognizers() const { return gestures_; }
  void addGestureRecognizer(const std::shared_ptr<TapGestureRecognizer>& recognizer);

  // ---- Drawing ----
  // Custom drawing into the view's bounds (the context is translated so that the bounds start at 0, 0), after the
  // background and before the subviews.
  virtual void drawRect(cairo_t* context, const Rect& rect);

  // ---- Values attached by key (the run-time properties of other modules) ----
  std::shared_ptr<void> associatedObject(const std::string& key) const;
  void setAssociatedObject(const std::string& key, std::shared_ptr<void> value);

 private:
  friend class LayoutEngine;
  Rect frame_;
  int64_t tag_ = 0;
  std::optional<Color> backgroundColor_;
  bool hidden_ = false;
  bool userInteractionEnabled_ = true;
  Layer layer_;
  std::vector<std::shared_ptr<View>> subviews_;
  // Not owning; cleared by the superview's destructor. A raw pointer, so that a view can adopt subviews while it
  // is being constructed (a button's title label), before any shared_ptr owns it.
  View* superview_ = nullptr;
  bool translatesAutoresizingMask_ = true;
  std::vector<std::shared_ptr<LayoutConstraint>> constraints_;
  float compressionResistance_[2] = {kLayoutPriorityDefaultHigh, kLayoutPriorityDefaultHigh};
  float hugging_[2] = {kLayoutPriorityDefaultLow, kLayoutPriorityDefaultLow};
  bool needsUpdateConstraints_ = true;
  bool needsLayout_ = true;
  std::vector<std::shared_ptr<TapGestureRecognizer>> gestures_;
  std::map<std::string, std::shared_ptr<void>> associated_;
};

// A text on one or more lines; with an underlined attributed text, that text is shown underlined.
class CORVANA_EXPORT Label : public View {
 public:
  // Labels do not take touches unless user interaction is enabled on them.
  explicit Label(Rect frame = {});
  std::string className() const override { return "Label"; }
  const std::string& text() const { return text_; }
  // Replaces the text and drops any attributed text.
  void setText(const std::string& text);
  // The text with its underline style over the whole text (0 none, 1 single).
  void setAttributedText(const std::string& text, int underlineStyle);
  int underlineStyle() const { return underlineStyle_; }
  Font font() const { return font_; }
  void setFont(const Font& font) { font_ = font; }
  Color textColor() const { return textColor_; }
  void setTextColor(const Color& color) { textColor_ = color; }
  TextAlignment textAlignment() const { return alignment_; }
  void setTextAlignment(TextAlignment alignment) { alignment_ = alignment; }
  // 0: as many lines as the text needs.
  int numberOfLines() const { return numberOfLines_; }
  void setNumberOfLines(int lines) { numberOfLines_ = lines; }
  // Measured with the same text engine that draws it.
  Size intrinsicContentSize() const override;
  void drawRect(cairo_t* context, const Rect& rect) override;

 private:
  std::string text_;
  int underlineStyle_ = 0;
  Font font_;
  Color textColor_ = Color::black();
  TextAlignment alignment_ = TextAlignment::Natural;
  int numberOfLines_ = 1;
};

class CORVANA_EXPORT ImageView : public View {
 public:
  // Image views do not take touches unless user interaction is enabled on them.
  explicit ImageView(Rect frame = {});
  std::string className() const override { return "ImageView"; }
  std::shared_ptr<Image> image() const { return image_; }
  virtual void setImage(std::shared_ptr<Image> image) { image_ = std::move(image); }
  ContentMode contentMode() const { return contentMode_; }
  void setContentMode(ContentMode mode) { contentMode_ = mode; }
  Size intrinsicContentSize() const override;
  void drawRect(cairo_t* context, const Rect& rect) override;

 private:
  std::shared_ptr<Image> image_;
  ContentMode contentMode_ = ContentMode::ScaleToFill;
};

// A tappable view with a title (in its title label) and an optional background image, both for the normal state.
class CORVANA_EXPORT Button : public View {
 public:
  explicit Button(Rect frame = {});
  std::string className() const override { return "Button"; }
  const std::string& title() const { return titleLabel_->text(); }
  void setTitle(const std::string& title) { titleLabel_->setText(title); }
  Color titleColor() const { return titleLabel_->textColor(); }
  void setTitleColor(const Color& color) { titleLabel_->setTextColor(color); }
  std::shared_ptr<Image> backgroundImage() const { return backgroundImage_; }
  void setBackgroundImage(std::shared_ptr<Image> image) { backgroundImage_ = std::move(image); }
  const std::shared_ptr<Label>& titleLabel() const { return titleLabel_; }
  // Runs `action` with the button whenever one of `events` happens (kControlEventTouchUpInside for a tap).
  void addTarget(std::function<void(Button&)> action, uint32_t events);
  size_t targetCount() const { return targets_.size(); }
  void sendActionsForControlEvents(uint32_t events);
  Size intrinsicContentSize() const override;
  void layoutSubviews() override;
  void drawRect(cairo_t* context, const Rect& rect) override;

 private:
  std::shared_ptr<Label> titleLabel_;
  std::shared_ptr<Image> backgroundImage_;
  std::vector<std::pair<uint32_t, std::function<void(Button&)>>> targets_;
};

// The key window: a screen-sized view whose content is the root view controller's view, with the controllers it
// presents drawn over it.
class CORVANA_EXPORT Window : public View {
 public:
  explicit Window(Rect frame = makeRect(0, 0, 375, 667));
  std::string className() const override { return "Window"; }
  std::shared_ptr<class ViewController> rootViewController() const { return root_; }
  void setRootViewController(std::shared_ptr<class ViewController> controller);
  // Lays out the root controller's view and every presented controller's view at the window's size.
  void layoutScreens();
  // The view a touch at this window point reaches: hit-tested in the top-most presented controller's view
  // (then the ones below it).
  std::shared_ptr<View> hitTestScreens(const Point& point);
  // A tap at a window point, on the screens as layoutScreens (which it runs first) lays them out: the hit view's
  // button (the view or its nearest button ancestor) sends its touch-up-inside actions; otherwise the nearest view
  // with a tap recognizer, from the hit view up, has them recognized. Answers the view that handled it, or none.
  std::shared_ptr<View> tapAt(const Point& point);

 private:
  std::shared_ptr<class ViewController> root_;
};

}  // namespace corvana
