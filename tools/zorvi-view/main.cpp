// zorvi-view: a window onto a board, drawn by the same renderer as its thumbnails.
#include <gtk/gtk.h>
#include <gtk/gtkunixprint.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "board_view.hpp"
#include "decode_pool.hpp"
#include "view_state.hpp"
#include "zorvi/board_bundle.hpp"

namespace zorvi::view {
namespace {

// Decoded pictures may use this much memory; previews come on top.
constexpr std::size_t cacheBudget = std::size_t{512} << 20;

struct Viewer;

bool firstFrameOption = false;  // quit once the first picture of a board is drawn

// A decoded picture on its way from a worker to the window; the viewer may be gone by then.
struct Delivery {
  std::weak_ptr<Viewer> viewer;
  std::uint64_t generation;
  DecodeRequest request;
  std::shared_ptr<const Raster> raster;
};

struct Viewer : std::enable_shared_from_this<Viewer> {
  GtkWidget* window = nullptr;
  GtkWidget* area = nullptr;
  GtkWidget* message = nullptr;  // the read error, over the empty canvas
  GtkWidget* note = nullptr;     // images left out
  GFileMonitor* monitor = nullptr;
  guint reloadTimer = 0;
  guint settleTimer = 0;  // ends a zoom gesture once the zoom rests
  bool zooming = false;

  std::optional<std::string> path;
  std::optional<OpenBoard> board;
  ViewState state;
  bool placed = false;  // the opening transform needs the window's size
  ImageCache cache{cacheBudget};
  std::uint64_t generation = 0;  // a new board makes older deliveries stale
  std::map<Uuid, std::int64_t> pending;
  std::map<Uuid, std::string> failed;  // image items whose sharp picture could not be decoded
  std::unique_ptr<DecodePool> pool;
  ViewFrame frame;
  std::optional<CanvasPoint> pointer;
  double dragStartX = 0, dragStartY = 0;
  CanvasTransform dragStartTransform;
  CanvasTransform pinchStartTransform;
  std::optional<std::string> snapshotPath;  // write the board's picture there once it is sharp, then quit
  bool snapshotQueued = false;

  ~Viewer() {
    pool.reset();
    if (reloadTimer) g_source_remove(reloadTimer);
    if (settleTimer) g_source_remove(settleTimer);
    if (monitor) g_object_unref(monitor);
  }
};

void redraw(Viewer& viewer) { gtk_widget_queue_draw(viewer.area); }

void updateNote(Viewer& viewer) {
  std::size_t count = viewer.failed.size() + (viewer.board ? viewer.board->missing.size() : 0);
  if (count == 0) {
    gtk_widget_set_visible(viewer.note, false);
    return;
  }
  std::string text = std::to_string(count) + (count == 1 ? " image is" : " images are") + " left out: ";
  std::size_t missing = viewer.board ? viewer.board->missing.size() : 0;
  if (missing) text += std::to_string(missing) + " not in the board file";
  if (!viewer.failed.empty())
    text += std::string(missing ? ", " : "") + std::to_string(viewer.failed.size()) + " could not be decoded";
  gtk_label_set_text(GTK_LABEL(viewer.note), text.c_str());
  gtk_widget_set_visible(viewer.note, true);
}

void showError(Viewer& viewer, const std::string& line) {
  gtk_label_set_text(GTK_LABEL(viewer.message), line.c_str());
  gtk_widget_set_visible(viewer.message, true);
}

CanvasSize areaSize(const Viewer& viewer) {
  return {static_cast<double>(gtk_widget_get_width(viewer.area)), static_cast<double>(gtk_widget_get_height(viewer.area))};
}

gboolean deliver(gpointer data) {
  std::unique_ptr<Delivery> delivery(static_cast<Delivery*>(data));
  const auto viewer = delivery->viewer.lock();
  if (!viewer || delivery->generation != viewer->generation) return G_SOURCE_REMOVE;
  const auto& request = delivery->request;
  if (const auto it = viewer->pending.find(request.item); it != viewer->pending.end() && it->second == request.edge)
    viewer->pending.erase(it);
  if (delivery->raster) {
    viewer->cache.insert(request.item, {request.edge, std::move(delivery->raster)});
    viewer->frame.forget();
  } else if (!viewer->failed.contains(request.item)) {
    viewer->failed.emplace(request.item, "undecodable");
    updateNote(*viewer);
  }
  redraw(*viewer);
  return G_SOURCE_REMOVE;
}

void watch(Viewer& viewer);

void open(Viewer& viewer, const std::string& path) {
  ++viewer.generation;
  viewer.pool->cancelQueued();
  viewer.pending.clear();
  viewer.failed.clear();
  viewer.cache.clear();
  viewer.frame.forget();
  viewer.board.reset();
  viewer.path = path;
  gtk_widget_set_visible(viewer.message, false);
  char* base = g_path_get_basename(path.c_str());
  gtk_window_set_title(GTK_WINDOW(viewer.window), base);
  g_free(base);
  try {
    viewer.board = openBoard(path);
  } catch (const std::exception& error) {
    const std::string line = "zorvi-view: " + std::string(error.what());
    std::fprintf(stderr, "%s\n", line.c_str());
    showError(viewer, line);
  }
  if (viewer.board) {
    gtk_window_set_title(GTK_WINDOW(viewer.window), viewer.board->bundle->manifest.board.name.c_str());
    decodePreviews(*viewer.board, viewer.cache, std::max(1u, std::thread::hardware_concurrency()));
  }
  viewer.placed = false;
  updateNote(viewer);
  watch(viewer);
  redraw(viewer);
}

// An editor saves by writing a new file and renaming it over the old one, so changes are
// collected for a moment before the board is read again.
void watch(Viewer& viewer) {
  if (viewer.monitor) g_object_unref(viewer.monitor);
  viewer.monitor = nullptr;
  if (!viewer.path) return;
  GFile* file = g_file_new_for_path(viewer.path->c_str());
  viewer.monitor = g_file_monitor_file(file, G_FILE_MONITOR_WATCH_MOVES, nullptr, nullptr);
  g_object_unref(file);
  if (!viewer.monitor) return;
  g_signal_connect(viewer.monitor, "changed",
                   G_CALLBACK((+[](GFileMonitor*, GFile*, GFile*, GFileMonitorEvent, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     if (v.reloadTimer) g_source_remove(v.reloadTimer);
                     v.reloadTimer = g_timeout_add(
                         250,
                         +[](gpointer d) {
                           auto& w = *static_cast<Viewer*>(d);
                           w.reloadTimer = 0;
                           const ViewState kept = w.state;
                           if (w.path) open(w, *w.path);
                           // Keep the view where it was: a reload is the same board, changed.
                           w.state.transform = kept.transform;
                           w.state.pageGrid = kept.pageGrid;
                           w.placed = true;
                           return G_SOURCE_REMOVE;
                         },
                         data);
                   })),
                   &viewer);
}

// The board area's picture, and on stdout the transform it was drawn at, so a test can draw the same.
void writeSnapshot(Viewer& viewer) {
  // The overlay holds the board area and the notes over it.
  GtkWidget* shown = gtk_widget_get_parent(viewer.area);
  GdkPaintable* paintable = gtk_widget_paintable_new(shown);
  const int width = gtk_widget_get_width(shown), height = gtk_widget_get_height(shown);
  GtkSnapshot* snapshot = gtk_snapshot_new();
  gdk_paintable_snapshot(paintable, snapshot, width, height);
  GskRenderNode* node = gtk_snapshot_free_to_node(snapshot);
  bool saved = false;
  if (node) {
    GskRenderer* renderer = gtk_native_get_renderer(gtk_widget_get_native(shown));
    const graphene_rect_t bounds = GRAPHENE_RECT_INIT(0, 0, static_cast<float>(width), static_cast<float>(height));
    GdkTexture* texture = gsk_renderer_render_texture(renderer, node, &bounds);
    saved = gdk_texture_save_to_png(texture, viewer.snapshotPath->c_str());
    g_object_unref(texture);
    gsk_render_node_unref(node);
  }
  g_object_unref(paintable);
  if (saved) {
    const auto& t = viewer.state.transform;
    std::printf("transform %.17g %.17g %.17g\n", t.zoom, t.offset.x, t.offset.y);
  } else {
    std::fprintf(stderr, "zorvi-view: could not write %s\n", viewer.snapshotPath->c_str());
  }
  gtk_window_destroy(GTK_WINDOW(viewer.window));
}

void queueSnapshot(Viewer& viewer) {
  if (!viewer.snapshotPath || viewer.snapshotQueued) return;
  viewer.snapshotQueued = true;
  g_idle_add_once(+[](gpointer d) { writeSnapshot(*static_cast<Viewer*>(d)); }, &viewer);
}

void drawGrid(const Viewer& viewer, cairo_t* cr) {
  const auto marks = pageGridMarks(viewer.state, viewer.board->bundle->manifest.board.pageSetup.value_or(PageSetup::defaultSetup()),
                                   viewer.board->contentFrames);
  cairo_set_line_width(cr, 1);
  cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
  cairo_set_font_size(cr, 14);
  for (const auto& mark : marks) {
    // Printed sheets stand out; the others only show where the grid runs.
    const double alpha = mark.number ? 0.85 : 0.3;
    cairo_set_source_rgba(cr, 0.1, 0.45, 0.95, alpha);
    cairo_rectangle(cr, std::round(mark.screen.x) + 0.5, std::round(mark.screen.y) + 0.5, std::round(mark.screen.width),
                    std::round(mark.screen.height));
    cairo_stroke(cr);
    if (!mark.number) continue;
    // The number on a plate of its own, readable over any picture.
    const std::string label = std::to_string(*mark.number);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, label.c_str(), &extents);
    cairo_rectangle(cr, mark.screen.x + 4, mark.screen.y + 4, extents.x_advance + 10, 22);
    cairo_fill(cr);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_move_to(cr, mark.screen.x + 9, mark.screen.y + 20);
    cairo_show_text(cr, label.c_str());
  }
}

void draw(GtkDrawingArea*, cairo_t* cr, int width, int height, gpointer data) {
  auto& viewer = *static_cast<Viewer*>(data);
  viewer.state.window = {static_cast<double>(width), static_cast<double>(height)};
  if (!viewer.board) {
    cairo_set_source_rgb(cr, 0.5, 0.5, 0.5);
    cairo_paint(cr);
    queueSnapshot(viewer);
    return;
  }
  if (!viewer.placed) {
    viewer.state.transform = openingTransform(viewer.board->bundle->manifest.board.canvas.lastViewport,
                                              viewer.board->contentFrames, viewer.state.window);
    viewer.placed = true;
  }
  const int scale = gtk_widget_get_scale_factor(viewer.area);
  const auto requests = viewer.frame.update(*viewer.board, viewer.state, scale, viewer.cache, viewer.zooming);
  for (const auto& request : requests) {
    if (viewer.failed.contains(request.item)) continue;
    const auto it = viewer.pending.find(request.item);
    if (it != viewer.pending.end() && it->second == request.edge) continue;
    viewer.pending.insert_or_assign(request.item, request.edge);
    const auto& bytes = viewer.board->full.at(request.item).data;
    viewer.pool->request(request, bytes, viewer.board->bundle, viewer.generation);
  }
  const auto& frame = viewer.frame;
  // Cairo only reads the pixels; its C interface asks for them writable.
  auto* bytes = reinterpret_cast<unsigned char*>(const_cast<std::uint32_t*>(frame.pixels().data()));
  cairo_surface_t* surface =
      cairo_image_surface_create_for_data(bytes, CAIRO_FORMAT_ARGB32, frame.width(), frame.height(), frame.width() * 4);
  cairo_save(cr);
  cairo_scale(cr, 1.0 / scale, 1.0 / scale);
  cairo_set_source_surface(cr, surface, -frame.windowX(), -frame.windowY());
  cairo_paint(cr);
  cairo_restore(cr);
  cairo_surface_destroy(surface);
  if (viewer.state.pageGrid) drawGrid(viewer, cr);

  if (viewer.pending.empty() && !viewer.frame.rough()) queueSnapshot(viewer);
  if (firstFrameOption) {
    firstFrameOption = false;
    // Wall-clock time, for a caller that noted when it started the program.
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::printf("first frame at %lld.%09ld\n", static_cast<long long>(now.tv_sec), now.tv_nsec);
    std::fflush(stdout);
    g_idle_add_once(+[](gpointer window) { gtk_window_destroy(GTK_WINDOW(window)); }, viewer.window);
  }
}

void act(Viewer& viewer, Action action) {
  if (!viewer.board) return;
  const bool wasFullscreen = viewer.state.fullscreen;
  viewer.state = apply(viewer.state, action, viewer.board->contentFrames);
  if (viewer.state.fullscreen != wasFullscreen) {
    if (viewer.state.fullscreen)
      gtk_window_fullscreen(GTK_WINDOW(viewer.window));
    else
      gtk_window_unfullscreen(GTK_WINDOW(viewer.window));
  }
  redraw(viewer);
}

// Wheel and pinch zooms come many a second: rough frames while they do, a proper one once the zoom
// has rested a moment.
void zoomStepped(Viewer& viewer) {
  viewer.zooming = true;
  if (viewer.settleTimer) g_source_remove(viewer.settleTimer);
  viewer.settleTimer = g_timeout_add(
      150,
      +[](gpointer data) {
        auto& v = *static_cast<Viewer*>(data);
        v.settleTimer = 0;
        v.zooming = false;
        redraw(v);
        return G_SOURCE_REMOVE;
      },
      &viewer);
  redraw(viewer);
}

void zoomAtPointer(Viewer& viewer, double factor) {
  const CanvasSize size = areaSize(viewer);
  const CanvasPoint about = viewer.pointer.value_or(CanvasPoint{size.width / 2, size.height / 2});
  viewer.state.transform = viewer.state.transform.zoomedBy(factor, about);
  zoomStepped(viewer);
}

void connectInput(const std::shared_ptr<Viewer>& shared) {
  Viewer* viewer = shared.get();
  GtkEventController* keys = gtk_event_controller_key_new();
  g_signal_connect(keys, "key-pressed",
                   G_CALLBACK((+[](GtkEventControllerKey*, guint keyval, guint, GdkModifierType modifiers, gpointer data) {
                     if (modifiers & (GDK_CONTROL_MASK | GDK_ALT_MASK)) return gboolean{FALSE};
                     const char* name = gdk_keyval_name(keyval);
                     const auto action = name ? actionForKey(name) : std::nullopt;
                     if (!action) return gboolean{FALSE};
                     act(*static_cast<Viewer*>(data), *action);
                     return gboolean{TRUE};
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->window, keys);

  GtkEventController* motion = gtk_event_controller_motion_new();
  g_signal_connect(motion, "motion", G_CALLBACK((+[](GtkEventControllerMotion*, double x, double y, gpointer data) {
                     static_cast<Viewer*>(data)->pointer = CanvasPoint{x, y};
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->area, motion);

  // A wheel zooms about the pointer; a touchpad's two-finger scroll pans.
  GtkEventController* scroll = gtk_event_controller_scroll_new(GTK_EVENT_CONTROLLER_SCROLL_BOTH_AXES);
  g_signal_connect(scroll, "scroll", G_CALLBACK((+[](GtkEventControllerScroll* controller, double dx, double dy, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     if (gtk_event_controller_scroll_get_unit(controller) == GDK_SCROLL_UNIT_SURFACE) {
                       v.state.transform = v.state.transform.panned({-dx, -dy});
                       redraw(v);
                     } else if (dy != 0) {
                       zoomAtPointer(v, std::pow(zoomStep, -dy));
                     }
                     return TRUE;
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->area, scroll);

  GtkGesture* drag = gtk_gesture_drag_new();
  g_signal_connect(drag, "drag-begin", G_CALLBACK((+[](GtkGestureDrag*, double, double, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     v.dragStartTransform = v.state.transform;
                   })),
                   viewer);
  g_signal_connect(drag, "drag-update", G_CALLBACK((+[](GtkGestureDrag*, double dx, double dy, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     v.state.transform = v.dragStartTransform.panned({dx, dy});
                     redraw(v);
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->area, GTK_EVENT_CONTROLLER(drag));

  GtkGesture* pinch = gtk_gesture_zoom_new();
  g_signal_connect(pinch, "begin", G_CALLBACK((+[](GtkGesture*, GdkEventSequence*, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     v.pinchStartTransform = v.state.transform;
                   })),
                   viewer);
  g_signal_connect(pinch, "scale-changed", G_CALLBACK((+[](GtkGestureZoom* gesture, double scale, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     double x = 0, y = 0;
                     gtk_gesture_get_bounding_box_center(GTK_GESTURE(gesture), &x, &y);
                     v.state.transform = v.pinchStartTransform.zoomedBy(scale, {x, y});
                     zoomStepped(v);
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->area, GTK_EVENT_CONTROLLER(pinch));

  GtkDropTarget* drop = gtk_drop_target_new(G_TYPE_FILE, GDK_ACTION_COPY);
  g_signal_connect(drop, "drop", G_CALLBACK((+[](GtkDropTarget*, const GValue* value, double, double, gpointer data) {
                     char* path = g_file_get_path(G_FILE(g_value_get_object(value)));
                     if (!path) return gboolean{FALSE};
                     open(*static_cast<Viewer*>(data), path);
                     g_free(path);
                     return gboolean{TRUE};
                   })),
                   viewer);
  gtk_widget_add_controller(viewer->area, GTK_EVENT_CONTROLLER(drop));
}

void chooseBoard(Viewer& viewer) {
  GtkFileChooserNative* chooser = gtk_file_chooser_native_new("Open Board", GTK_WINDOW(viewer.window),
                                                              GTK_FILE_CHOOSER_ACTION_OPEN, "_Open", "_Cancel");
  GtkFileFilter* filter = gtk_file_filter_new();
  gtk_file_filter_set_name(filter, "Zorvi boards");
  gtk_file_filter_add_mime_type(filter, "application/x-zorvi-board");
  gtk_file_filter_add_suffix(filter, "zorvi");
  gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
  g_object_unref(filter);
  g_signal_connect(chooser, "response", G_CALLBACK((+[](GtkNativeDialog* dialog, int response, gpointer data) {
                     if (response == GTK_RESPONSE_ACCEPT) {
                       GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog));
                       if (char* path = g_file_get_path(file)) {
                         open(*static_cast<Viewer*>(data), path);
                         g_free(path);
                       }
                       g_object_unref(file);
                     }
                     g_object_unref(dialog);
                   })),
                   &viewer);
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}

void tell(Viewer& viewer, const std::string& line) {
  GtkWidget* dialog = gtk_message_dialog_new(GTK_WINDOW(viewer.window), GTK_DIALOG_MODAL, GTK_MESSAGE_ERROR,
                                             GTK_BUTTONS_CLOSE, "%s", line.c_str());
  g_signal_connect(dialog, "response", G_CALLBACK(gtk_window_destroy), nullptr);
  gtk_window_present(GTK_WINDOW(dialog));
}

struct ExportChoice {
  Viewer* viewer;
  ExportKind kind;
};

void chooseExport(Viewer& viewer, ExportKind kind) {
  if (!viewer.board) return;
  static constexpr const char* extensions[] = {".pdf", ".png", ".html"};
  GtkFileChooserNative* chooser = gtk_file_chooser_native_new("Export Board", GTK_WINDOW(viewer.window),
                                                              GTK_FILE_CHOOSER_ACTION_SAVE, "_Export", "_Cancel");
  const std::string name = viewer.board->bundle->manifest.board.name + extensions[static_cast<int>(kind)];
  gtk_file_chooser_set_current_name(GTK_FILE_CHOOSER(chooser), name.c_str());
  g_object_set_data_full(G_OBJECT(chooser), "choice", new ExportChoice{&viewer, kind},
                         +[](gpointer data) { delete static_cast<ExportChoice*>(data); });
  g_signal_connect(chooser, "response", G_CALLBACK((+[](GtkNativeDialog* dialog, int response, gpointer) {
                     const auto& choice = *static_cast<ExportChoice*>(g_object_get_data(G_OBJECT(dialog), "choice"));
                     if (response == GTK_RESPONSE_ACCEPT && choice.viewer->board) {
                       GFile* file = gtk_file_chooser_get_file(GTK_FILE_CHOOSER(dialog));
                       if (char* path = g_file_get_path(file)) {
                         if (const auto failure = exportBoard(*choice.viewer->board, choice.kind, path))
                           tell(*choice.viewer, "The board was not exported: " + *failure);
                         g_free(path);
                       }
                       g_object_unref(file);
                     }
                     g_object_unref(dialog);
                   })),
                   nullptr);
  gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}

// Printing sends the PDF export itself, so paper shows exactly the sheets of `zorvi export pdf`.
void print(Viewer& viewer) {
  if (!viewer.board) return;
  char* folder = g_dir_make_tmp("zorvi-print-XXXXXX", nullptr);
  if (!folder) return tell(viewer, "Nothing was printed: no temporary folder could be made.");
  const std::string pdf = std::string(folder) + "/board.pdf";
  g_free(folder);
  if (const auto failure = exportBoard(*viewer.board, ExportKind::pdf, pdf))
    return tell(viewer, "Nothing was printed: " + *failure);
  GtkWidget* dialog = gtk_print_unix_dialog_new("Print Board", GTK_WINDOW(viewer.window));
  gtk_print_unix_dialog_set_manual_capabilities(GTK_PRINT_UNIX_DIALOG(dialog), GtkPrintCapabilities{});
  g_object_set_data_full(G_OBJECT(dialog), "pdf", g_strdup(pdf.c_str()), g_free);
  g_signal_connect(dialog, "response", G_CALLBACK((+[](GtkDialog* d, int response, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     const char* file = static_cast<const char*>(g_object_get_data(G_OBJECT(d), "pdf"));
                     auto* unix = GTK_PRINT_UNIX_DIALOG(d);
                     if (response == GTK_RESPONSE_OK) {
                       GtkPrinter* printer = gtk_print_unix_dialog_get_selected_printer(unix);
                       if (!gtk_printer_accepts_pdf(printer)) {
                         tell(v, "This printer does not take PDF documents; export a PDF and print it from a "
                                 "PDF viewer.");
                       } else {
                         GtkPrintSettings* settings = gtk_print_unix_dialog_get_settings(unix);
                         GtkPrintJob* job = gtk_print_job_new(gtk_window_get_title(GTK_WINDOW(v.window)), printer,
                                                              settings, gtk_print_unix_dialog_get_page_setup(unix));
                         g_object_unref(settings);
                         GError* error = nullptr;
                         if (gtk_print_job_set_source_file(job, file, &error)) {
                           gtk_print_job_send(job, nullptr, nullptr, nullptr);
                         } else {
                           tell(v, std::string("Nothing was printed: ") + error->message);
                           g_error_free(error);
                         }
                         g_object_unref(job);
                       }
                     }
                     gtk_window_destroy(GTK_WINDOW(d));
                   })),
                   &viewer);
  gtk_window_present(GTK_WINDOW(dialog));
}

GtkWidget* headerBar(Viewer& viewer) {
  GtkWidget* bar = gtk_header_bar_new();
  GtkWidget* openButton = gtk_button_new_with_mnemonic("_Open…");
  g_signal_connect(openButton, "clicked",
                   G_CALLBACK((+[](GtkButton*, gpointer data) { chooseBoard(*static_cast<Viewer*>(data)); })), &viewer);
  gtk_header_bar_pack_start(GTK_HEADER_BAR(bar), openButton);
  GtkWidget* grid = gtk_toggle_button_new_with_label("Pages");
  gtk_widget_set_tooltip_text(grid, "Show where the sheets of a printed export fall (P)");
  g_signal_connect(grid, "toggled", G_CALLBACK((+[](GtkToggleButton* button, gpointer data) {
                     auto& v = *static_cast<Viewer*>(data);
                     v.state.pageGrid = gtk_toggle_button_get_active(button);
                     redraw(v);
                   })),
                   &viewer);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(bar), grid);

  GMenu* menu = g_menu_new();
  g_menu_append(menu, "Export as PDF…", "win.export-pdf");
  g_menu_append(menu, "Export as PNG…", "win.export-png");
  g_menu_append(menu, "Export as HTML…", "win.export-html");
  g_menu_append(menu, "Print…", "win.print");
  GtkWidget* button = gtk_menu_button_new();
  gtk_menu_button_set_icon_name(GTK_MENU_BUTTON(button), "open-menu-symbolic");
  gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(button), G_MENU_MODEL(menu));
  g_object_unref(menu);
  gtk_header_bar_pack_end(GTK_HEADER_BAR(bar), button);
  return bar;
}

std::shared_ptr<Viewer> makeWindow(GtkApplication* app, std::optional<std::string> snapshot) {
  auto viewer = std::make_shared<Viewer>();
  viewer->snapshotPath = std::move(snapshot);
  viewer->pool = std::make_unique<DecodePool>(
      std::max(1u, std::thread::hardware_concurrency()),
      [weak = std::weak_ptr<Viewer>(viewer)](const DecodeRequest& request, std::uint64_t generation,
                                             std::shared_ptr<const Raster> raster) {
        g_idle_add(deliver, new Delivery{weak, generation, request, std::move(raster)});
      });
  viewer->window = gtk_application_window_new(app);
  gtk_window_set_default_size(GTK_WINDOW(viewer->window), 1024, 720);
  gtk_window_set_icon_name(GTK_WINDOW(viewer->window), "zorvi-view");
  gtk_window_set_titlebar(GTK_WINDOW(viewer->window), headerBar(*viewer));
  GtkWidget* overlay = gtk_overlay_new();
  viewer->area = gtk_drawing_area_new();
  gtk_widget_set_focusable(viewer->area, true);
  gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(viewer->area), draw, viewer.get(), nullptr);
  gtk_overlay_set_child(GTK_OVERLAY(overlay), viewer->area);
  viewer->message = gtk_label_new(nullptr);
  gtk_label_set_wrap(GTK_LABEL(viewer->message), true);
  gtk_widget_set_halign(viewer->message, GTK_ALIGN_CENTER);
  gtk_widget_set_valign(viewer->message, GTK_ALIGN_CENTER);
  gtk_widget_set_visible(viewer->message, false);
  gtk_overlay_add_overlay(GTK_OVERLAY(overlay), viewer->message);
  viewer->note = gtk_label_new(nullptr);
  gtk_widget_set_halign(viewer->note, GTK_ALIGN_START);
  gtk_widget_set_valign(viewer->note, GTK_ALIGN_END);
  gtk_widget_set_margin_start(viewer->note, 8);
  gtk_widget_set_margin_bottom(viewer->note, 8);
  gtk_widget_add_css_class(viewer->note, "osd");
  gtk_widget_set_visible(viewer->note, false);
  gtk_overlay_add_overlay(GTK_OVERLAY(overlay), viewer->note);
  gtk_window_set_child(GTK_WINDOW(viewer->window), overlay);
  connectInput(viewer);
  static constexpr std::pair<const char*, void (*)(Viewer&)> menuActions[] = {
      {"export-pdf", [](Viewer& v) { chooseExport(v, ExportKind::pdf); }},
      {"export-png", [](Viewer& v) { chooseExport(v, ExportKind::png); }},
      {"export-html", [](Viewer& v) { chooseExport(v, ExportKind::html); }},
      {"print", print},
  };
  for (const auto& [name, run] : menuActions) {
    GSimpleAction* action = g_simple_action_new(name, nullptr);
    g_object_set_data(G_OBJECT(action), "run", reinterpret_cast<gpointer>(run));
    g_signal_connect(action, "activate", G_CALLBACK((+[](GSimpleAction* a, GVariant*, gpointer data) {
                       reinterpret_cast<void (*)(Viewer&)>(g_object_get_data(G_OBJECT(a), "run"))(
                           *static_cast<Viewer*>(data));
                     })),
                     viewer.get());
    g_action_map_add_action(G_ACTION_MAP(viewer->window), G_ACTION(action));
    g_object_unref(action);
  }
  // The window owns the viewer from here on.
  g_object_set_data_full(G_OBJECT(viewer->window), "zorvi-viewer", new std::shared_ptr<Viewer>(viewer),
                         +[](gpointer data) { delete static_cast<std::shared_ptr<Viewer>*>(data); });
  gtk_window_present(GTK_WINDOW(viewer->window));
  return viewer;
}

std::optional<std::string> snapshotOption;

}  // namespace
}  // namespace zorvi::view

int main(int argc, char** argv) {
  using namespace zorvi::view;
  // --snapshot FILE writes the window's first sharp picture to FILE and quits: for tests and screenshots.
  // --first-frame prints the wall-clock time once the board's first picture is drawn, and quits: for
  // timing the start.
  std::vector<char*> args{argv[0]};
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--snapshot" && i + 1 < argc) {
      snapshotOption = argv[++i];
    } else if (arg == "--first-frame") {
      firstFrameOption = true;
    } else if (arg == "--help" || arg == "-h") {
      std::puts("usage: zorvi-view [--snapshot FILE.png | --first-frame] [BOARD]\n"
                "Shows a board. Keys: + - zoom, 0 fit, 1 actual size, arrows pan, p page grid, F11 or f full screen.");
      return 0;
    } else {
      args.push_back(argv[i]);
    }
  }
  GtkApplication* app = gtk_application_new("org.zorvi.View", static_cast<GApplicationFlags>(G_APPLICATION_HANDLES_OPEN | G_APPLICATION_NON_UNIQUE));
  g_signal_connect(app, "activate", G_CALLBACK((+[](GtkApplication* application, gpointer) {
                     makeWindow(application, snapshotOption);
                   })),
                   nullptr);
  g_signal_connect(app, "open", G_CALLBACK((+[](GtkApplication* application, GFile** files, int count, const char*, gpointer) {
                     for (int i = 0; i < count; ++i) {
                       auto viewer = makeWindow(application, snapshotOption);
                       if (char* path = g_file_get_path(files[i])) {
                         open(*viewer, path);
                         g_free(path);
                       }
                     }
                   })),
                   nullptr);
  const int status = g_application_run(G_APPLICATION(app), static_cast<int>(args.size()), args.data());
  g_object_unref(app);
  return status;
}
