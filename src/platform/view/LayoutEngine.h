#pragma once

// The layout pass of the view layer: pending constraint updates, frames solved from the constraints, then
// layoutSubviews top-down. See LayoutEngine.cpp for what the solver supports.

#include "corvana/view.h"

namespace corvana {

class LayoutEngine {
 public:
  // The whole pass over the subtree of `root` (View::layoutIfNeeded).
  static void layoutPass(View& root);
  // Only the frames: every view of the subtree that does not translate its autoresizing mask gets the frame its
  // constraints give it.
  static void solveFrames(View& root);
  // The superview without taking ownership (valid while the view is alive; none at the top of a tree).
  static View* parentOf(const View& view) { return view.superview_; }
  // The view's origin in the coordinate space of the top of its tree (the window's, for a view in a window).
  static Point originInTree(const View* view);

 private:
  static void layoutSubviewsTopDown(View& view);
};

}  // namespace corvana
